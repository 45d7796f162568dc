#pragma once

#include <QString>
#include <QVector>
#include <memory>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

// One field of the current row of a RecordSet, copied out of the statement.
class DatabaseField
{
public:
    DatabaseField() = default;
    enum Kind : char { Null, Number, Text };
    DatabaseField(QString text, Kind kind, bool numberIsTrue)
        : m_text(std::move(text))
        , m_kind(kind)
        , m_numberTrue(numberIsTrue)
    {
    }

    // NULL reads as "" and an integer as its decimal digits.
    const QString& StringValue() const { return m_text; }
    // A number is true when it is not zero; text when it reads "true" or "1".
    bool BooleanValue() const
    {
        if (m_kind == Number)
            return m_numberTrue;
        return m_kind == Text
            && (m_text == QLatin1String("1") || m_text.compare(QLatin1String("true"), Qt::CaseInsensitive) == 0);
    }
    bool IsNull() const { return m_kind == Null; }

private:
    friend class RecordSet;
    QString m_text;
    Kind m_kind = Null;
    bool m_numberTrue = false;
};

// Forward-only cursor over a running statement. Rows are fetched as the caller walks,
// so a large result is never held twice in memory.
class RecordSet
{
public:
    ~RecordSet();
    RecordSet(const RecordSet&) = delete;
    RecordSet& operator=(const RecordSet&) = delete;

    int FieldCount() const { return m_fieldCount; }
    // EOF is a C macro, hence the spelling.
    bool Eof() const { return m_eof; }
    void MoveNext();
    // 1-based, as every reader of the tables counts. Out of range gives an empty field.
    // Readers fetch the same field many times per row, so it is converted once per row.
    const DatabaseField& IdxField(int n)
    {
        const unsigned i = unsigned(n - 1);
        if (i < m_fetched.size() && m_fetched[i])
            return m_row[i];
        return fetch(n);
    }

private:
    friend class SQLDatabase;
    RecordSet(sqlite3_stmt* stmt, bool eof);
    void invalidateRow();
    const DatabaseField& fetch(int n);

    sqlite3_stmt* m_stmt;
    int m_fieldCount;
    bool m_eof;
    std::vector<DatabaseField> m_row;
    std::vector<char> m_fetched;
};

// A row to insert: the columns it names in the order they were set, all others stay NULL.
class DatabaseRecord
{
public:
    void Column(const QString& name, const QString& value);
    void BooleanColumn(const QString& name, bool value);

private:
    friend class SQLDatabase;
    struct Value
    {
        QString name;
        QString text;
        bool isBool = false;
        bool boolValue = false;
    };
    void set(Value v);
    QVector<Value> m_values;
};

// One SQLite file with an implicit transaction: the first change after a Commit opens one,
// and only Commit ends it. The file stays in rollback-journal mode so it is complete after every commit.
class SQLDatabase
{
public:
    SQLDatabase() = default;
    ~SQLDatabase();
    SQLDatabase(const SQLDatabase&) = delete;
    SQLDatabase& operator=(const SQLDatabase&) = delete;

    QString DatabaseFile;

    bool CreateDatabaseFile();
    bool Connect();
    void SQLExecute(const QString& sql);
    std::unique_ptr<RecordSet> SQLSelect(const QString& sql);
    // A row that cannot be written to the file sets Error and undoes everything since the last Commit.
    void InsertRecord(const QString& table, const DatabaseRecord& record);
    void Commit();
    void Close();
    bool Error() const { return m_error; }
    bool IsConnected() const { return m_db != nullptr; }

private:
    bool open(int flags);
    bool usable();
    // Prepares the first statement of the text only; the rest of the text never runs.
    sqlite3_stmt* prepare(const QString& sql);
    bool beginIfWriting(sqlite3_stmt* stmt);
    bool execRaw(const char* sql);

    sqlite3* m_db = nullptr;
    bool m_error = false;
};
