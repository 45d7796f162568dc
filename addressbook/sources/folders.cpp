#include "source.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QStandardPaths>
#include <glob.h>
#include <sys/inotify.h>
#include <unistd.h>

// Folders of vCard files, one card or more per file: $XDG_DATA_HOME/contacts, ~/.contacts, the
// address books of khard's configuration and the filesystem storages of vdirsyncer's. A folder's
// cards are its own and those of the folders one level below it (one per collection).
namespace abplatform {
namespace {

struct Place
{
    QString path;
    QString ext;
    Qt::CaseSensitivity cs = Qt::CaseInsensitive; // of the extension
};

QString configFile(const char* variable, const QString& fallback)
{
    const QString set = qEnvironmentVariable(variable);
    return set.isEmpty() ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + fallback : set;
}

// khard: [addressbooks] holds one [[name]] per book with its path; with type = discover the path
// is a pattern, and every folder it matches is a book.
void khardPlaces(QList<Place>& out)
{
    bool inBooks = false;
    for (const ConfigSection& section :
        configSections(configFile("KHARD_CONFIG", QStringLiteral("/khard/khard.conf")))) {
        if (!section.header.startsWith(QLatin1String("[[")))
            inBooks = section.header.compare(QLatin1String("[addressbooks]"), Qt::CaseInsensitive) == 0;
        const QString path = section.value(QLatin1String("path"));
        if (!inBooks || path.isEmpty())
            continue;
        const QString expanded = expandPath(path);
        if (section.value(QLatin1String("type")).compare(QLatin1String("discover"), Qt::CaseInsensitive) == 0) {
            glob_t g{};
            if (::glob(QFile::encodeName(expanded).constData(), GLOB_ONLYDIR, nullptr, &g) == 0) {
                for (size_t i = 0; i < g.gl_pathc; ++i)
                    out.append({QFile::decodeName(g.gl_pathv[i]), QStringLiteral(".vcf")});
            }
            ::globfree(&g);
        } else {
            out.append({expanded, QStringLiteral(".vcf")});
        }
    }
}

// vdirsyncer: every [storage name] of type "filesystem" with its path and file extension; a
// calendar's storage (.ics) holds no cards.
void vdirsyncerPlaces(QList<Place>& out)
{
    // vdirsyncer reads its older place first, where that exists.
    const QString older = QDir::homePath() + QLatin1String("/.vdirsyncer/config");
    const QString config = qEnvironmentVariableIsEmpty("VDIRSYNCER_CONFIG") && QFileInfo::exists(older)
        ? older
        : configFile("VDIRSYNCER_CONFIG", QStringLiteral("/vdirsyncer/config"));
    for (const ConfigSection& section : configSections(config)) {
        const QString path = section.value(QLatin1String("path")), ext = section.value(QLatin1String("fileext"));
        if (section.header.startsWith(QLatin1String("[storage ")) && !path.isEmpty() && !ext.isEmpty()
            && section.value(QLatin1String("type")) == QLatin1String("filesystem")
            && ext.compare(QLatin1String(".ics"), Qt::CaseInsensitive) != 0)
            out.append({expandPath(path), ext, Qt::CaseSensitive}); // as vdirsyncer lists its files
    }
}

// A folder's listing is kept while the kernel reports no change in it: stating every file of a
// large book at each opening costs far more than the opening itself. A folder with links in it is
// listed every time, since a change behind a link is not reported there.
class Listings
{
public:
    QList<std::pair<QString, QByteArray>> files(const QString& folder, const QString& ext, Qt::CaseSensitivity cs)
    {
        drain();
        const QString key = folder + QLatin1Char('\n') + ext + QLatin1Char(cs == Qt::CaseSensitive ? '=' : '~');
        if (const auto it = m_kept.constFind(key); it != m_kept.cend())
            return it->files;
        const int wd = m_fd < 0 ? -1
                                : ::inotify_add_watch(m_fd, QFile::encodeName(folder).constData(),
                                    IN_CREATE | IN_DELETE | IN_MODIFY | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB
                                        | IN_CLOSE_WRITE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
        auto listed = filesIn(folder, ext, cs);
        const bool linked = std::any_of(listed.cbegin(), listed.cend(),
            [&](const auto& f) { return !f.first.startsWith(folder + QLatin1Char('/')); });
        if (wd >= 0 && !linked)
            m_kept.insert(key, {wd, listed});
        return listed;
    }

private:
    struct Kept
    {
        int wd;
        QList<std::pair<QString, QByteArray>> files;
    };
    // Forgets the listings of every folder the kernel reported a change in.
    void drain()
    {
        alignas(inotify_event) char buffer[4096];
        ssize_t n;
        while (m_fd >= 0 && (n = ::read(m_fd, buffer, sizeof buffer)) > 0) {
            for (ssize_t at = 0; at < n;) {
                const auto* e = reinterpret_cast<const inotify_event*>(buffer + at);
                if (e->mask & IN_Q_OVERFLOW)
                    m_kept.clear();
                m_kept.removeIf([&](const auto& kept) { return kept.value().wd == e->wd; });
                at += ssize_t(sizeof(inotify_event) + e->len);
            }
        }
    }
    int m_fd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    QHash<QString, Kept> m_kept;
};

Listings& listings()
{
    static Listings kept;
    return kept;
}

class Folders final : public Source
{
public:
    explicit Folders(int order)
        : m_order(order)
    {
    }

    bool units(QList<Unit>& out) override
    {
        const QString home = QDir::homePath();
        QList<Place> places{
            {QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QLatin1String("/contacts"),
                QStringLiteral(".vcf")},
            {home + QLatin1String("/.contacts"), QStringLiteral(".vcf")}};
        khardPlaces(places);
        vdirsyncerPlaces(places);
        bool any = false;
        QSet<QString> seen;
        QString fallback;
        m_target.clear();
        auto collection = [&](const QString& folder, const Place& place) {
            const QString canonical = QFileInfo(folder).canonicalFilePath();
            if (canonical.isEmpty() || seen.contains(canonical))
                return;
            const auto files = listings().files(canonical, place.ext, place.cs);
            if (files.isEmpty())
                return;
            seen.insert(canonical);
            if (m_target.isEmpty() && QFileInfo(canonical).isWritable())
                m_target = canonical;
            for (const auto& [path, stamp] : files)
                out.append({path, stamp, m_order});
        };
        for (const Place& place : std::as_const(places)) {
            const QFileInfo info(place.path);
            if (!info.isDir())
                continue;
            any = true;
            if (fallback.isEmpty() && info.isWritable())
                fallback = info.canonicalFilePath();
            collection(place.path, place);
            for (const QString& sub : QDir(place.path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name))
                collection(place.path + QLatin1Char('/') + sub, place);
        }
        if (m_target.isEmpty())
            m_target = fallback;
        return any;
    }

    std::optional<vcard::File> read(const Unit& unit) override
    {
        const auto bytes = readRegularFile(unit.path);
        if (!bytes)
            return std::nullopt;
        return vcard::parse(*bytes);
    }

    QString target() const override { return m_target; }

private:
    int m_order;
    QString m_target;
};

} // namespace

std::unique_ptr<Source> vcardFolders(int order)
{
    return std::make_unique<Folders>(order);
}

} // namespace abplatform
