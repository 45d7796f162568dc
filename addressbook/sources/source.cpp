#include "source.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>
#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace abplatform {
namespace {

QByteArray stampOf(const struct stat& st)
{
    return QByteArray::number(qint64(st.st_size)) + ':' + QByteArray::number(qint64(st.st_mtim.tv_sec)) + '.'
        + QByteArray::number(qint64(st.st_mtim.tv_nsec)) + ';';
}

// At most cap bytes of a regular file; whole says a longer file is refused rather than cut.
std::optional<QByteArray> readFd(const QString& path, qint64 cap, bool whole)
{
    // O_NONBLOCK: a FIFO opens at once instead of waiting for a writer; it is then refused by type.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (fd < 0)
        return std::nullopt;
    struct stat st
    {
    };
    std::optional<QByteArray> out;
    if (::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && (st.st_size <= cap || !whole)) {
        QByteArray bytes(qsizetype(std::min<qint64>(st.st_size, cap)), Qt::Uninitialized);
        qsizetype got = 0;
        while (got < bytes.size()) {
            const ssize_t n = ::read(fd, bytes.data() + got, size_t(bytes.size() - got));
            if (n <= 0)
                break;
            got += n;
        }
        bytes.truncate(got); // a file cut short while read gives what it held
        out = std::move(bytes);
    }
    ::close(fd);
    return out;
}

} // namespace

std::optional<QByteArray> readRegularFile(const QString& path, qint64 cap)
{
    return readFd(path, cap, true);
}

QByteArray fileStamp(const QString& path)
{
    struct stat st
    {
    };
    if (::stat(QFile::encodeName(path).constData(), &st) != 0 || !S_ISREG(st.st_mode))
        return QByteArray();
    return stampOf(st);
}

QList<std::pair<QString, QByteArray>> filesIn(const QString& folder, const QString& ext, Qt::CaseSensitivity cs)
{
    QList<std::pair<QString, QByteArray>> out;
    const QByteArray dirPath = QFile::encodeName(folder);
    DIR* dir = ::opendir(dirPath.constData());
    if (!dir)
        return out;
    const QByteArray suffix = QFile::encodeName(ext);
    const int dfd = ::dirfd(dir);
    while (const dirent* e = ::readdir(dir)) {
        const QByteArray name(e->d_name);
        if (name.startsWith('.') || name.size() <= suffix.size()
            || QByteArrayView(name).last(suffix.size()).compare(suffix, cs) != 0)
            continue;
        struct stat st
        {
        };
        if (::fstatat(dfd, e->d_name, &st, 0) != 0 || !S_ISREG(st.st_mode))
            continue;
        QString path = folder + QLatin1Char('/') + QFile::decodeName(name);
        if (e->d_type == DT_LNK || e->d_type == DT_UNKNOWN)
            path = QFileInfo(path).canonicalFilePath();
        out.append({path, stampOf(st)});
    }
    ::closedir(dir);
    std::sort(out.begin(), out.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    return out;
}

QString expandPath(const QString& path)
{
    static const QRegularExpression var(QStringLiteral("\\$(\\{([A-Za-z_][A-Za-z0-9_]*)\\}|([A-Za-z_][A-Za-z0-9_]*))"));
    QString out;
    qsizetype at = 0;
    for (auto it = var.globalMatch(path); it.hasNext();) {
        const auto m = it.next();
        const QString name = m.captured(2).isEmpty() ? m.captured(3) : m.captured(2);
        out += path.mid(at, m.capturedStart() - at);
        // An unknown variable stays as written, as Python's expandvars leaves it.
        out += qEnvironmentVariableIsSet(name.toLocal8Bit().constData())
            ? qEnvironmentVariable(name.toLocal8Bit().constData())
            : m.captured(0);
        at = m.capturedEnd();
    }
    out += path.mid(at);
    if (out == QLatin1String("~") || out.startsWith(QLatin1String("~/")))
        out = QDir::homePath() + out.mid(1);
    return out;
}

QString ConfigSection::value(QLatin1String key) const
{
    for (const auto& [k, v] : settings) {
        if (k == key)
            return v;
    }
    return QString();
}

QList<ConfigSection> configSections(const QString& path)
{
    const auto bytes = readRegularFile(path, 1 << 20);
    if (!bytes)
        return {};
    QList<ConfigSection> out{{}};
    for (const QString& raw : QString::fromUtf8(*bytes).split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        const qsizetype eq = line.indexOf(QLatin1Char('='));
        if (line.startsWith(QLatin1Char('['))) {
            out.append({line, {}});
        } else if (eq > 0 && !line.startsWith(QLatin1Char('#')) && !line.startsWith(QLatin1Char(';'))) {
            QString value = line.mid(eq + 1).trimmed();
            if (value.size() >= 2 && (value.front() == QLatin1Char('"') || value.front() == QLatin1Char('\''))
                && value.back() == value.front())
                value = value.mid(1, value.size() - 2);
            out.last().settings.append({line.left(eq).trimmed().toLower(), value});
        }
    }
    return out;
}

SqliteReader::SqliteReader(const QString& path, bool privateCopy)
{
    if (fileStamp(path).isEmpty())
        return;
    if (privateCopy) {
        if (sqlite3_open_v2(
                QFile::encodeName(path).constData(), &m_db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr)
            != SQLITE_OK) {
            sqlite3_close_v2(m_db);
            m_db = nullptr;
        }
        return;
    }
    // A file in WAL mode with no log beside it holds every commit: read it as it stands, so that
    // no -wal or -shm file is made next to another program's book.
    QByteArray head;
    if (auto bytes = readFd(path, 100, false); !bytes) {
        return;
    } else {
        head = *bytes;
    }
    const bool walMode = head.size() >= 20 && head.startsWith("SQLite format 3") && head[18] == 2;
    const bool immutable = walMode && !QFileInfo::exists(path + QLatin1String("-wal"));
    QByteArray uri = "file:" + QUrl::toPercentEncoding(QFileInfo(path).absoluteFilePath(), "/") + "?mode=ro";
    if (immutable)
        uri += "&immutable=1";
    if (sqlite3_open_v2(uri.constData(), &m_db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX, nullptr)
        != SQLITE_OK) {
        sqlite3_close_v2(m_db);
        m_db = nullptr;
        return;
    }
    // Another program's write lock is waited for only briefly: the source is skipped this time.
    sqlite3_busy_timeout(m_db, 200);
}

SqliteReader::~SqliteReader()
{
    sqlite3_close_v2(m_db);
}

bool SqliteReader::select(const char* sql, const std::function<void(const QList<QByteArrayView>&)>& row)
{
    if (!m_db)
        return false;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(m_db, sql, -1, &stmt, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt);
        return false;
    }
    const int n = sqlite3_column_count(stmt);
    QList<QByteArrayView> values(n);
    int rc;
    while ((rc = sqlite3_step(stmt)) == SQLITE_ROW) {
        for (int i = 0; i < n; ++i) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, i));
            values[i] = QByteArrayView(text, sqlite3_column_bytes(stmt, i));
        }
        row(values);
    }
    sqlite3_finalize(stmt);
    return rc == SQLITE_DONE;
}

QList<QByteArray> SqliteReader::columns(const QByteArray& table)
{
    QList<QByteArray> out;
    QByteArray quoted = table;
    quoted.replace('"', "\"\"");
    select(("PRAGMA table_info(\"" + quoted + "\")").constData(),
        [&](const QList<QByteArrayView>& r) { out.append(r.value(1).toByteArray().toLower()); });
    return out;
}

QByteArray sqliteStamp(const QString& path)
{
    const QByteArray own = fileStamp(path);
    const auto head = readFd(path, 100, false);
    if (own.isEmpty() || !head)
        return QByteArray();
    // Bytes 24 to 27 count the changes of a file in rollback mode; in WAL mode the log's stamp does.
    return own + head->mid(24, 4).toHex() + ';' + fileStamp(path + QLatin1String("-wal"));
}

namespace {

// A plain copy of a regular file: no lock is taken on the source, as for any file read.
bool copyFile(const QString& from, const QString& to)
{
    const int in = ::open(QFile::encodeName(from).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (in < 0)
        return false;
    struct stat st
    {
    };
    bool ok = ::fstat(in, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kMaxFileBytes;
    const int out = ok ? ::open(QFile::encodeName(to).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600) : -1;
    ok = out >= 0;
    char buffer[1 << 16];
    for (ssize_t n; ok && (n = ::read(in, buffer, sizeof buffer)) != 0;) {
        ok = n > 0;
        for (ssize_t done = 0; ok && done < n;) {
            const ssize_t w = ::write(out, buffer + done, size_t(n - done));
            ok = w > 0;
            done += w;
        }
    }
    ::close(in);
    if (out >= 0)
        ::close(out);
    return ok;
}

std::function<void()>& copyHook()
{
    static std::function<void()> hook;
    return hook;
}

} // namespace

void setCopyHookForTesting(std::function<void()> hook)
{
    copyHook() = std::move(hook);
}

std::optional<vcard::File> readPrivateCopy(
    const QString& path, const std::function<std::optional<vcard::File>(SqliteReader&)>& read)
{
    const QString name = QFileInfo(path).fileName();
    for (int attempt = 0; attempt < 2; ++attempt) {
        QTemporaryDir dir(QDir::tempPath() + QLatin1String("/tallyvane-book-XXXXXX"));
        const QString copy = dir.filePath(name);
        const QByteArray before = sqliteStamp(path);
        if (!dir.isValid() || before.isEmpty() || !copyFile(path, copy))
            return std::nullopt;
        // The log holds commits that the file does not have yet; a journal, the state to return to.
        bool ok = true;
        for (const char* extra : {"-wal", "-journal"}) {
            if (QFileInfo::exists(path + QLatin1String(extra)))
                ok = copyFile(path + QLatin1String(extra), copy + QLatin1String(extra)) && ok;
        }
        if (copyHook())
            copyHook()();
        if (!ok || sqliteStamp(path) != before)
            continue;
        SqliteReader db(copy, true);
        QByteArray check;
        db.select("PRAGMA quick_check", [&](const QList<QByteArrayView>& r) { check += r.value(0).toByteArray(); });
        if (check != "ok")
            continue;
        if (auto file = read(db))
            return file;
    }
    return std::nullopt;
}

} // namespace abplatform
