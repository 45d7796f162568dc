#pragma once

#include "vcard.h"

#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

struct sqlite3;

// The places the shared book is read from. Each kind of source (vCard folders, Evolution Data
// Server, Thunderbird) lives in a file of its own behind this interface; the book asks them in
// that order and never writes to any but the vCard folders.
namespace abplatform {

// One file or database that a source reads now, with a stamp that changes when its contents may
// have: sizes, modification times, change counters. An empty stamp never matches, so a unit that
// could not be read is tried again at the next opening.
struct Unit
{
    QString path; // canonical
    QByteArray stamp;
    int source = 0; // the source's place in the order
};

class Source
{
public:
    virtual ~Source() = default;
    // Appends the units it reads now, in order. False when the source is not there at all.
    virtual bool units(QList<Unit>& out) = 0;
    // The cards of one unit, people and groups, in order; nullopt when it cannot be read now.
    virtual std::optional<vcard::File> read(const Unit& unit) = 0;
    // The folder where new records go, if this source has one.
    virtual QString target() const { return QString(); }
};

std::unique_ptr<Source> vcardFolders(int order);
std::unique_ptr<Source> evolutionBooks(int order);
std::unique_ptr<Source> thunderbirdBooks(int order);

// Files above this size are skipped. The files that come near it are exports with a photo per person (a phone's
// or a webmail's, some tens of kilobytes a photo: 5,000 people make 150 to 250 MB), and such a file costs about
// twice its size to read (the file and each photo unfolded); a file of small cards costs under four times its
// size (bench_abmemory). The cap keeps any read near a gigabyte at most.
constexpr qint64 kMaxFileBytes = qint64(256) << 20;

// The bytes of a regular file, links followed, or nullopt for anything else (a FIFO, a device, a
// folder, a file over the cap). It never blocks on open.
std::optional<QByteArray> readRegularFile(const QString& path, qint64 cap = kMaxFileBytes);
// Size and modification time of a regular file, links followed; empty for anything else.
QByteArray fileStamp(const QString& path);
// The regular files directly in a folder whose names end with ext (and do not start with a dot),
// sorted by name, with their stamps; links are followed and named by their target.
QList<std::pair<QString, QByteArray>> filesIn(
    const QString& folder, const QString& ext, Qt::CaseSensitivity cs = Qt::CaseInsensitive);
// $VAR, ${VAR} and a leading ~ expanded, as the tools that write these configurations do.
QString expandPath(const QString& path);

// A section of an INI-like configuration file (khard's, vdirsyncer's, Thunderbird's profiles.ini, Evolution's
// .source files): its header as written ("[name]", "[[name]]"; empty before the first) and its settings, the
// keys lower case, the values trimmed and unquoted.
struct ConfigSection
{
    QString header;
    QList<std::pair<QString, QString>> settings;
    QString value(QLatin1String key) const;
};
// The sections of a configuration file up to 1 MiB, in order; none for a file that cannot be read.
QList<ConfigSection> configSections(const QString& path);

// One read of a SQLite file that is never written: opened read-only, one statement at a time, no lock
// held beyond the statement. Rows are handed to the callback as UTF-8 columns.
class SqliteReader
{
public:
    // A private copy (see readPrivateCopy) is opened for writing, so that its log can be replayed and a
    // journal left by a crash rolled back there.
    explicit SqliteReader(const QString& path, bool privateCopy = false);
    ~SqliteReader();
    SqliteReader(const SqliteReader&) = delete;
    SqliteReader& operator=(const SqliteReader&) = delete;
    bool ok() const { return m_db != nullptr; }
    // False when the statement fails (a missing table or column, a lock, a damaged file). The columns
    // handed to the callback are valid until it returns.
    bool select(const char* sql, const std::function<void(const QList<QByteArrayView>&)>& row);
    // The columns of a table, lower case; empty for no such table.
    QList<QByteArray> columns(const QByteArray& table);

private:
    sqlite3* m_db = nullptr;
};

// A stamp for a SQLite file: its own size and time, the change counter in its header, and those of
// its write-ahead log.
QByteArray sqliteStamp(const QString& path);

// Reads a SQLite file that its own program may hold under an exclusive lock for as long as it runs:
// the file, its log and its journal are copied into a private folder with plain reads (no lock taken,
// nothing made beside them) and read there. A copy taken while the program wrote is caught by the
// file's stamp changing meanwhile or by the copy failing SQLite's check, and is taken once more.
// Tests: called after each copy of a book is made and before it is checked, so that a test can change the
// book while it is copied, which no timing can do reliably.
void setCopyHookForTesting(std::function<void()> hook);
std::optional<vcard::File> readPrivateCopy(
    const QString& path, const std::function<std::optional<vcard::File>(SqliteReader&)>& read);

} // namespace abplatform
