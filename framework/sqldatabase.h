#pragma once

#include <QString>
#include <QUtf8StringView>
#include <QVector>
#include <memory>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

// One field of the current row of a RecordSet. Its text stays in the engine's UTF-8 until it is asked for.
class DatabaseField
{
public:
    // NULL reads as "" and an integer as its decimal digits.
    const QString& StringValue() const;
    // The same text as the engine holds it, valid until the record set moves on.
    QUtf8StringView Utf8() const { return QUtf8StringView(m_bytes, m_size); }
    // A number is true when it is not zero; text when it reads "true" or "1".
    bool BooleanValue() const;
    bool IsNull() const { return m_kind == Null; }

private:
    friend class RecordSet;
    enum Kind : char { Null, Number, Text };
    const char* m_bytes = nullptr;
    qsizetype m_size = 0;
    Kind m_kind = Null;
    bool m_numberTrue = false;
    mutable bool m_decoded = false;
    mutable QString m_text;
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
    // A row the file has no room for sets Error and undoes everything since the last Commit.
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
    sqlite3_stmt* prepare(const QByteArray& utf8);
    // A statement for the text, kept from its last use when there was one; give it back with release.
    sqlite3_stmt* reusable(const QByteArray& utf8);
    void release(sqlite3_stmt* stmt, const QByteArray& utf8);
    void forgetStatements();
    bool beginIfWriting(sqlite3_stmt* stmt);
    bool execRaw(const char* sql);
    qint64 pragmaValue(const char* sql);
    bool reserveRoom();

    sqlite3* m_db = nullptr;
    bool m_error = false;
    // The statements of the latest texts run, most recent last: an import inserts with the same text
    // thousands of times, and each commit opens its transaction again.
    struct Kept
    {
        QByteArray sql;
        sqlite3_stmt* stmt;
    };
    std::vector<Kept> m_kept;
    // The file's page size, read once per connection; 0 until then, and again after any statement of the
    // caller's, which may be the VACUUM that changes it.
    qint64 m_pageSize = 0;
};
