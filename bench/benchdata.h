#pragma once

// What the benchmarks share: a temporary home, 100,000 generated customers and tasks written into the
// program's own database file by a second connection, and the median of paired rounds.
#include <QFile>
#include <QList>
#include <QRandomGenerator>
#include <QString>
#include <QTemporaryDir>
#include <algorithm>
#include <sqlite3.h>
#include <utility>

namespace BenchData {
constexpr int kRows = 100000;

// The variables that point the program's folders (home, preferences, data) into a home of our own.
inline QList<std::pair<QByteArray, QString>> homeVariables(const QString& home)
{
    return {{"HOME", home}, {"XDG_CONFIG_HOME", home + QStringLiteral("/.config")},
        {"XDG_DATA_HOME", home + QStringLiteral("/.local/share")}};
}

// A temporary home for this process, so that a run never touches the user's files.
class Home
{
public:
    Home() { enter(); }
    // From a QTemporaryDir template: a home on the file system the caller chooses.
    explicit Home(const QString& pattern)
        : m_dir(pattern)
    {
        enter();
    }
    QString path() const { return m_dir.path(); }
    QString path(const char* relative) const { return m_dir.path() + QLatin1Char('/') + QLatin1String(relative); }

private:
    void enter() const
    {
        for (const auto& [name, value] : homeVariables(path()))
            qputenv(name.constData(), value.toUtf8());
    }
    QTemporaryDir m_dir;
};

inline QString word(QRandomGenerator& rng, int minLen, int maxLen)
{
    static const char letters[] = "abcdefghijklmnopqrstuvwxyz";
    const int n = minLen + int(rng.bounded(maxLen - minLen + 1));
    QString s(n, QLatin1Char(' '));
    for (int i = 0; i < n; ++i)
        s[i] = QLatin1Char(letters[rng.bounded(26)]);
    if (n > 0)
        s[0] = s[0].toUpper();
    return s;
}

inline void generate(const QString& path, int rows = kRows)
{
    sqlite3* db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
    QRandomGenerator rng(42);
    sqlite3_stmt* c = nullptr;
    sqlite3_prepare_v2(db, "INSERT INTO Contatos (Nome, Serial, Versao, Data, ProjetoNome, Email) VALUES (?,?,?,?,?,?)",
        -1, &c, nullptr);
    sqlite3_stmt* t = nullptr;
    sqlite3_prepare_v2(db,
        "INSERT INTO Tarefas (Projeto, Titulo, datainicio, datafim, responsavel, Label, Comentarios, Ok) "
        "VALUES (?,?,?,?,?,?,?,?)",
        -1, &t, nullptr);
    const char* labels[] = {"Important", "Pending", "Ok", "Urgent", "Finished", ""};
    auto bind = [](sqlite3_stmt* st, int i, const QString& s) {
        const QByteArray b = s.toUtf8();
        sqlite3_bind_text(st, i, b.constData(), int(b.size()), SQLITE_TRANSIENT);
    };
    for (int i = 0; i < rows; ++i) {
        bind(c, 1, word(rng, 4, 10) + QLatin1Char(' ') + word(rng, 4, 12));
        bind(c, 2, QStringLiteral("SN-%1").arg(rng.bounded(1000000), 6, 10, QLatin1Char('0')));
        bind(c, 3, QStringLiteral("%1.%2").arg(rng.bounded(10)).arg(rng.bounded(10)));
        bind(c, 4, QStringLiteral("2026-%1-%2").arg(1 + rng.bounded(12)).arg(1 + rng.bounded(28)));
        bind(c, 5, word(rng, 5, 14));
        bind(c, 6, word(rng, 4, 10).toLower() + QStringLiteral("@example.com"));
        sqlite3_step(c);
        sqlite3_reset(c);
        bind(t, 1, word(rng, 5, 12));
        bind(t, 2, word(rng, 6, 20) + QLatin1Char(' ') + word(rng, 3, 10));
        bind(t, 3, QStringLiteral("2026-%1-%2").arg(1 + rng.bounded(12)).arg(1 + rng.bounded(28)));
        bind(t, 4, QStringLiteral("2027-%1-%2").arg(1 + rng.bounded(12)).arg(1 + rng.bounded(28)));
        bind(t, 5, word(rng, 3, 9));
        bind(t, 6, QString::fromLatin1(labels[rng.bounded(6)]));
        bind(t, 7, word(rng, 0, 30));
        sqlite3_bind_int(t, 8, int(rng.bounded(2)));
        sqlite3_step(t);
        sqlite3_reset(t);
    }
    sqlite3_finalize(c);
    sqlite3_finalize(t);
    sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(db);
}

// Rounds are taken in pairs, ours then the reference, so that load from elsewhere on the machine falls
// on both sides of a round alike; the median of the rounds' ratios is the figure.
inline double median(QList<double> values)
{
    if (values.isEmpty())
        return 0;
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}
} // namespace BenchData
