#pragma once

#include <QString>
#include <QVector>
#include <memory>

struct sqlite3;
struct sqlite3_stmt;

// One field of the current row of a RecordSet, copied out of the statement.
class DatabaseField
{
public:
    DatabaseField() = default;
    DatabaseField(QString text, bool isNull, bool boolValue)
        : m_text(std::move(text))
        , m_isNull(isNull)
        , m_bool(boolValue)
    {
    }

    // NULL reads as "" and an integer as its decimal digits.
    const QString& StringValue() const { return m_text; }
    bool BooleanValue() const { return m_bool; }
    bool IsNull() const { return m_isNull; }

private:
    QString m_text;
    bool m_isNull = true;
    bool m_bool = false;
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
    const DatabaseField& IdxField(int n);

private:
    friend class SQLDatabase;
    RecordSet(sqlite3_stmt* stmt, bool eof);
    void invalidateRow();

    sqlite3_stmt* m_stmt;
    int m_fieldCount;
    bool m_eof;
    QVector<DatabaseField> m_row;
    QVector<bool> m_fetched;
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
