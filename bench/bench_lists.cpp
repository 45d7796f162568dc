// Loads 100,000 customers and 100,000 tasks through the real window and reports, against the
// sqlite3 program running the same SELECT on the same file, the reload time ratio, the memory the
// loaded list adds per byte of text it holds, and the time to scroll and repaint a full window.
#include "app.h"
#include "application.h"
#include "canvas.h"
#include "dialogs.h"
#include "listbox.h"
#include "principal.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QTemporaryDir>
#include <cstdio>
#include <malloc.h>
#include <sqlite3.h>

namespace {
constexpr int kRows = 100000;
constexpr int kRuns = 5;

QString word(QRandomGenerator& rng, int minLen, int maxLen)
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

void generate(const QString& path)
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
    for (int i = 0; i < kRows; ++i) {
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

qint64 scalar(const QString& path, const char* sql)
{
    sqlite3* db = nullptr;
    sqlite3_open(QFile::encodeName(path).constData(), &db);
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, sql, -1, &st, nullptr);
    sqlite3_step(st);
    const qint64 v = sqlite3_column_int64(st, 0);
    sqlite3_finalize(st);
    sqlite3_close(db);
    return v;
}

double bestOf(const std::function<void()>& run, int times = 1)
{
    double best = 1e18;
    for (int i = 0; i < times; ++i) {
        QElapsedTimer t;
        t.start();
        run();
        best = std::min(best, t.nsecsElapsed() / 1e6);
    }
    return best;
}

double sqliteCli(const QString& path, const QString& sql)
{
    return bestOf([&] {
        QProcess p;
        p.setStandardOutputFile(QProcess::nullDevice());
        p.start(QStringLiteral("sqlite3"), {path, sql});
        p.waitForFinished(-1);
    });
}

// Scrolls through the list a page at a time and repaints each page; the slowest frame counts.
double worstFrame(Listbox* list)
{
    QScrollBar* bar = list->verticalScrollBar();
    QRandomGenerator rng(7);
    double worst = 0;
    for (int i = 0; i < 60; ++i) {
        QElapsedTimer t;
        t.start();
        bar->setValue(int(rng.bounded(bar->maximum() + 1)));
        list->viewport()->repaint();
        worst = std::max(worst, t.nsecsElapsed() / 1e6);
    }
    return worst;
}

struct Measure
{
    const char* name;
    Listbox* list;
    std::function<void()> load;
    QString select;
    const char* bytesSql;
};
} // namespace

int main(int argc, char** argv)
{
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/.config")).toUtf8());
    Application application(argc, argv);
    DialogHooks::setRecording(true);
    setQuitRecordsOnly(true);
    App app;
    if (!Principal::Start())
        return 1;
    Principal* w = Principal::Instance();
    w->resize(1000, 800);
    QCoreApplication::processEvents();
    const QString path = App::DatabaseItem()->NativePath();
    // The program holds its own connection; the generated rows are committed by another one.
    generate(path);

    const Measure measures[] = {
        {"customers", w->Contatos, [w] { w->CarregaContatos(); },
            QStringLiteral("SELECT * from Contatos ORDER BY Nome"),
            "SELECT sum(length(CAST(id AS BLOB)) + length(CAST(Nome AS BLOB)) + length(CAST(Serial AS BLOB)) + "
            "length(CAST(Versao AS BLOB)) + length(CAST(Data AS BLOB)) + length(CAST(ProjetoNome AS BLOB)) + "
            "length(CAST(Email AS BLOB))) FROM Contatos"},
        {"tasks", w->Projetos, [w] { w->CarregaProjetos(); }, QStringLiteral("SELECT * from Tarefas ORDER BY Projeto"),
            "SELECT sum(length(CAST(id AS BLOB)) + length(CAST(Projeto AS BLOB)) + length(CAST(Titulo AS BLOB)) + "
            "length(CAST(datainicio AS BLOB)) + length(CAST(datafim AS BLOB)) + length(CAST(responsavel AS BLOB)) + "
            "length(CAST(Label AS BLOB)) + length(CAST(Comentarios AS BLOB)) + 1) FROM Tarefas"},
    };
    std::printf("%d rows per list, best of %d runs\n", kRows, kRuns);
    for (const Measure& m : measures) {
        w->pagePanel()->setValue(m.list == w->Contatos ? 0 : 1);
        // Taken in turns, so that load from elsewhere on the machine falls on both sides alike.
        double ours = 1e18, cli = 1e18;
        for (int run = 0; run < kRuns; ++run) {
            ours = std::min(ours, bestOf([&] {
                m.load();
                QCoreApplication::processEvents(); // the view takes in the rows
            }));
            cli = std::min(cli, sqliteCli(path, m.select));
        }
        m.list->DeleteAllRows();
        QCoreApplication::processEvents();
        malloc_trim(0);
        const size_t before = mallinfo2().uordblks;
        m.load();
        QCoreApplication::processEvents();
        const size_t after = mallinfo2().uordblks;
        const qint64 bytes = scalar(path, m.bytesSql);
        const double frame = worstFrame(m.list);
        std::printf(
            "%-9s reload %.1f ms, sqlite3 %.1f ms, reload ratio %.2f (goal <= 2)\n", m.name, ours, cli, ours / cli);
        std::printf("%-9s list memory %.1f MB for %.1f MB of text, memory ratio %.2f (goal <= 4)\n", m.name,
            double(after - before) / 1e6, double(bytes) / 1e6, double(after - before) / double(bytes));
        std::printf("%-9s slowest scroll+repaint of a full window: %.1f ms\n", m.name, frame);
    }
    w->close();
    return 0;
}
