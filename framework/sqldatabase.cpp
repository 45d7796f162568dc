#include "sqldatabase.h"

#include <QFileInfo>
#include <QStringDecoder>
#include <algorithm>
#include <cstring>
#include <sqlite3.h>

RecordSet::RecordSet(sqlite3_stmt* stmt, bool eof)
    : m_stmt(stmt)
    , m_fieldCount(sqlite3_column_count(stmt))
    , m_eof(eof)
    , m_row(size_t(m_fieldCount))
    , m_fetched(size_t(m_fieldCount), 0)
{
}

RecordSet::~RecordSet()
{
    sqlite3_finalize(m_stmt);
}

void RecordSet::invalidateRow()
{
    // The engine's texts of the row end with the step: a field kept past it reads as empty.
    for (size_t i = 0; i < m_fetched.size(); ++i) {
        if (m_fetched[i]) {
            m_row[i].m_bytes = nullptr;
            m_row[i].m_size = 0;
            m_row[i].m_decoded = false;
            m_fetched[i] = 0;
        }
    }
}

void RecordSet::MoveNext()
{
    if (m_eof)
        return;
    invalidateRow();
    // A failing step ends the walk the same way the end of the rows does.
    m_eof = sqlite3_step(m_stmt) != SQLITE_ROW;
}

const DatabaseField& RecordSet::fetch(int n)
{
    static const DatabaseField empty;
    const int i = n - 1;
    if (m_eof || i < 0 || i >= m_fieldCount)
        return empty;
    const int type = sqlite3_column_type(m_stmt, i);
    DatabaseField& f = m_row[size_t(i)];
    f.m_decoded = false;
    if (type == SQLITE_NULL) {
        f.m_kind = DatabaseField::Null;
        f.m_bytes = nullptr;
        f.m_size = 0;
        f.m_numberTrue = false;
    } else {
        const bool number = type == SQLITE_INTEGER || type == SQLITE_FLOAT;
        f.m_kind = number ? DatabaseField::Number : DatabaseField::Text;
        f.m_numberTrue = number && sqlite3_column_double(m_stmt, i) != 0.0;
        f.m_bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_stmt, i));
        f.m_size = sqlite3_column_bytes(m_stmt, i);
    }
    m_fetched[size_t(i)] = 1;
    return f;
}

const QString& DatabaseField::StringValue() const
{
    if (!m_decoded) {
        // Decoded into the field's own buffer: once readers let go of a row's texts the
        // buffer is reused for the next row instead of allocating again.
        m_text.resize(m_size);
        QStringDecoder decoder(QStringDecoder::Utf8);
        QChar* end = decoder.appendToBuffer(m_text.data(), QByteArrayView(m_bytes, m_size));
        m_text.resize(end - m_text.data());
        m_decoded = true;
    }
    return m_text;
}

bool DatabaseField::BooleanValue() const
{
    if (m_kind == Number)
        return m_numberTrue;
    const QByteArrayView text(m_bytes, m_size);
    return m_kind == Text && (text == "1" || text.compare("true", Qt::CaseInsensitive) == 0);
}

void DatabaseRecord::set(Value v)
{
    for (auto& existing : m_values) {
        if (existing.name.compare(v.name, Qt::CaseInsensitive) == 0) {
            existing = std::move(v);
            return;
        }
    }
    m_values.append(std::move(v));
}

void DatabaseRecord::Column(const QString& name, const QString& value)
{
    set({name, value, false, false});
}

void DatabaseRecord::BooleanColumn(const QString& name, bool value)
{
    set({name, QString(), true, value});
}

SQLDatabase::~SQLDatabase()
{
    Close();
}

bool SQLDatabase::open(int flags)
{
    if (m_db)
        return true;
    const QByteArray path = QFile::encodeName(DatabaseFile);
    // One thread uses the connection: no per-call locking inside SQLite.
    if (sqlite3_open_v2(path.constData(), &m_db, flags | SQLITE_OPEN_NOMUTEX, nullptr) != SQLITE_OK) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
        return false;
    }
    return true;
}

// Opening is lazy in SQLite: read the schema now, so garbage, a folder or a read-only file
// are refused here and never written to.
bool SQLDatabase::usable()
{
    if (sqlite3_db_readonly(m_db, "main") != 0)
        return false;
    if (sqlite3_exec(m_db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr) != SQLITE_OK)
        return false;
    sqlite3_stmt* stmt = nullptr;
    bool wal = false;
    if (sqlite3_prepare_v2(m_db, "PRAGMA journal_mode", -1, &stmt, nullptr) == SQLITE_OK
        && sqlite3_step(stmt) == SQLITE_ROW)
        wal = qstricmp(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 0)), "wal") == 0;
    sqlite3_finalize(stmt);
    // A file made elsewhere in WAL mode would keep commits outside the file a backup copies.
    return !wal || execRaw("PRAGMA journal_mode=DELETE");
}

bool SQLDatabase::CreateDatabaseFile()
{
    m_error = false;
    if (DatabaseFile.isEmpty() || QFileInfo::exists(DatabaseFile)
        || !open(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) {
        m_error = true;
        return false;
    }
    return true;
}

bool SQLDatabase::Connect()
{
    m_error = false;
    const bool wasOpen = m_db != nullptr;
    if (!wasOpen && !QFileInfo(DatabaseFile).isFile()) {
        m_error = true;
        return false;
    }
    // A connection made by CreateDatabaseFile is kept: it may hold the first run's work.
    if (!open(SQLITE_OPEN_READWRITE) || !usable()) {
        if (!wasOpen)
            Close();
        m_error = true;
        return false;
    }
    return true;
}

bool SQLDatabase::execRaw(const char* sql)
{
    const QByteArray text = QByteArray::fromRawData(sql, qsizetype(std::strlen(sql)));
    sqlite3_stmt* stmt = reusable(text);
    if (!stmt)
        return false;
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) { }
    release(stmt, text);
    return rc == SQLITE_DONE;
}

sqlite3_stmt* SQLDatabase::prepare(const QString& sql)
{
    return prepare(sql.toUtf8());
}

sqlite3_stmt* SQLDatabase::prepare(const QByteArray& utf8)
{
    if (!m_db)
        return nullptr;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(m_db, utf8.constData(), int(utf8.size()), &stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt);
        return nullptr;
    }
    return stmt; // null for a text with no statement at all
}

sqlite3_stmt* SQLDatabase::reusable(const QByteArray& utf8)
{
    for (auto it = m_kept.begin(); it != m_kept.end(); ++it) {
        if (it->sql == utf8) {
            sqlite3_stmt* stmt = it->stmt;
            m_kept.erase(it);
            return stmt;
        }
    }
    return prepare(utf8);
}

void SQLDatabase::release(sqlite3_stmt* stmt, const QByteArray& utf8)
{
    if (!stmt)
        return;
    // Reset at once, so that a kept statement holds no lock on the file.
    sqlite3_reset(stmt);
    constexpr size_t kKept = 8;
    if (m_kept.size() == kKept) {
        sqlite3_finalize(m_kept.front().stmt);
        m_kept.erase(m_kept.begin());
    }
    m_kept.push_back({QByteArray(utf8.constData(), utf8.size()), stmt});
}

void SQLDatabase::forgetStatements()
{
    for (const Kept& k : m_kept)
        sqlite3_finalize(k.stmt);
    m_kept.clear();
    m_pageSize = 0;
}

bool SQLDatabase::beginIfWriting(sqlite3_stmt* stmt)
{
    if (sqlite3_stmt_readonly(stmt) || !sqlite3_get_autocommit(m_db))
        return true;
    return execRaw("BEGIN");
}

void SQLDatabase::SQLExecute(const QString& sql)
{
    m_pageSize = 0;
    const QByteArray utf8 = sql.toUtf8();
    sqlite3_stmt* stmt = reusable(utf8);
    m_error = stmt == nullptr || !beginIfWriting(stmt);
    if (!m_error) {
        int rc;
        while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) { }
        m_error = rc != SQLITE_DONE;
    }
    release(stmt, utf8);
}

std::unique_ptr<RecordSet> SQLDatabase::SQLSelect(const QString& sql)
{
    m_pageSize = 0;
    sqlite3_stmt* stmt = prepare(sql);
    if (!stmt || !beginIfWriting(stmt)) {
        sqlite3_finalize(stmt);
        m_error = true;
        return nullptr;
    }
    const int rc = sqlite3_step(stmt);
    if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
        sqlite3_finalize(stmt);
        m_error = true;
        return nullptr;
    }
    m_error = false;
    return std::unique_ptr<RecordSet>(new RecordSet(stmt, rc != SQLITE_ROW));
}

static QString quoteIdentifier(const QString& name)
{
    QString q = name;
    q.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + q + QLatin1Char('"');
}

void SQLDatabase::InsertRecord(const QString& table, const DatabaseRecord& record)
{
    QString sql = QLatin1String("INSERT INTO ") + quoteIdentifier(table);
    if (record.m_values.isEmpty()) {
        sql += QLatin1String(" DEFAULT VALUES");
    } else {
        QStringList names, marks;
        for (const auto& v : record.m_values) {
            names << quoteIdentifier(v.name);
            marks << QStringLiteral("?");
        }
        sql += QLatin1String(" (") + names.join(QLatin1Char(',')) + QLatin1String(") VALUES (")
            + marks.join(QLatin1Char(',')) + QLatin1Char(')');
    }
    const QByteArray utf8 = sql.toUtf8();
    sqlite3_stmt* stmt = reusable(utf8);
    m_error = stmt == nullptr || !beginIfWriting(stmt);
    if (!m_error) {
        int i = 1;
        for (const auto& v : record.m_values) {
            if (v.isBool) {
                sqlite3_bind_int(stmt, i++, v.boolValue ? 1 : 0);
            } else {
                const QByteArray text = v.text.toUtf8();
                sqlite3_bind_text(stmt, i++, text.constData(), int(text.size()), SQLITE_TRANSIENT);
            }
        }
        m_error = sqlite3_step(stmt) != SQLITE_DONE;
    }
    release(stmt, utf8);
    // The engine needs the transaction undone before the connection can be used again.
    if (!m_error && !reserveRoom()) {
        m_error = true;
        execRaw("ROLLBACK");
    }
}

qint64 SQLDatabase::pragmaValue(const char* sql)
{
    const QByteArray text = QByteArray::fromRawData(sql, qsizetype(std::strlen(sql)));
    sqlite3_stmt* stmt = reusable(text);
    const qint64 value = stmt && sqlite3_step(stmt) == SQLITE_ROW ? sqlite3_column_int64(stmt, 0) : 0;
    release(stmt, text);
    return value;
}

// Claims in the file now the room the open transaction's pages need, so that a file that cannot grow
// (a full disk, a size limit) refuses the row here, where the caller looks at Error, rather than at the
// Commit, where nobody does. No page reaches the file before the Commit, so a commit syncs its journal
// once, as any single transaction does; on a disk those syncs are most of an insert's time.
bool SQLDatabase::reserveRoom()
{
    if (m_pageSize <= 0) {
        m_pageSize = pragmaValue("PRAGMA page_size");
        // The file then grows by whole pages, as it does without the claim.
        int chunk = int(m_pageSize);
        sqlite3_file_control(m_db, "main", SQLITE_FCNTL_CHUNK_SIZE, &chunk);
    }
    sqlite3_int64 bytes = m_pageSize * pragmaValue("PRAGMA page_count");
    const int rc = sqlite3_file_control(m_db, "main", SQLITE_FCNTL_SIZE_HINT, &bytes);
    return rc == SQLITE_OK || rc == SQLITE_NOTFOUND;
}

void SQLDatabase::Commit()
{
    m_error = m_db == nullptr;
    if (m_db && !sqlite3_get_autocommit(m_db))
        m_error = !execRaw("COMMIT");
}

void SQLDatabase::Close()
{
    if (!m_db)
        return;
    forgetStatements();
    // Shutdown does not commit: whatever is still open is dropped, as it never reached a Commit.
    sqlite3_close_v2(m_db);
    m_db = nullptr;
}
