// Times the program's start, from process start to the main window shown with both lists filled, with
// 100,000 customers and 100,000 tasks, against the same start on an empty database and against the
// sqlite3 program running both SELECTs of the lists on the same file. The figure is the start's extra
// time over the empty start, per unit of the sqlite3 program's time, as the median of paired rounds.
#include "benchdata.h"
#include "listbox.h"
#include "principal.h"
#include "startprogram.h"

#include <QAbstractItemModel>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <cstdio>
#include <cstdlib>

namespace {
constexpr int kRounds = 7;
const char* const kSelects = "SELECT * from Contatos ORDER BY Nome; SELECT * from Tarefas ORDER BY Projeto;";

bool filled(Listbox* list)
{
    return list->model()->rowCount() == list->ListCount();
}

// The program's own start, as its entry runs it; reports on standard output once the window has been
// painted with both lists filled, and leaves without the shutdown, which is not part of the start.
int child(int argc, char** argv)
{
    StartOptions options;
    options.laterStartStatus = 1;
    options.started = [](bool opened) {
        if (!opened)
            std::_Exit(1);
        Principal* w = Principal::Live();
        while (!w->isVisible() || !filled(w->Contatos) || !filled(w->Projetos))
            QCoreApplication::processEvents();
        w->repaint();
        std::printf("shown %d %d\n", w->Contatos->ListCount(), w->Projetos->ListCount());
        std::fflush(stdout);
        std::_Exit(0);
    };
    return StartProgram(argc, argv, options);
}

struct Start
{
    double ms;
    QByteArray report;
};

Start start(const QString& self, const QString& home)
{
    QProcess p;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const auto& [name, value] : BenchData::homeVariables(home))
        env.insert(QString::fromLatin1(name), value);
    p.setProcessEnvironment(env);
    QElapsedTimer t;
    t.start();
    p.start(self, {QStringLiteral("child")});
    while (p.state() != QProcess::NotRunning && !p.canReadLine())
        p.waitForReadyRead(-1);
    const double ms = t.nsecsElapsed() / 1e6;
    const QByteArray line = p.readLine().trimmed();
    p.waitForFinished(-1);
    return {ms, line};
}

double sqliteCli(const QString& path)
{
    QElapsedTimer t;
    t.start();
    QProcess p;
    p.setStandardOutputFile(QProcess::nullDevice());
    p.start(QStringLiteral("sqlite3"), {path, QString::fromLatin1(kSelects)});
    p.waitForFinished(-1);
    return t.nsecsElapsed() / 1e6;
}

QString databaseOf(const QString& home)
{
    return home + QStringLiteral("/Documents/Tally Vane/Tally Vane.rbd");
}
} // namespace

int main(int argc, char** argv)
{
    if (argc > 1)
        return child(argc, argv);
    QCoreApplication application(argc, argv);
    const QString self = QCoreApplication::applicationFilePath();
    QTemporaryDir empty, full;
    // The first start of each home makes its database; the full one then gets its rows from outside.
    for (const QTemporaryDir* home : {&empty, &full}) {
        if (start(self, home->path()).report != "shown 0 0") {
            std::fprintf(stderr, "the program did not start\n");
            return 1;
        }
    }
    BenchData::generate(databaseOf(full.path()));
    const QByteArray expected = QByteArrayLiteral("shown ") + QByteArray::number(BenchData::kRows) + ' '
        + QByteArray::number(BenchData::kRows);
    QList<double> ratios;
    double bestEmpty = 1e18, bestFull = 1e18, bestCli = 1e18;
    for (int round = 0; round < kRounds; ++round) {
        const Start e = start(self, empty.path());
        const Start f = start(self, full.path());
        const double c = sqliteCli(databaseOf(full.path()));
        if (e.report != "shown 0 0" || f.report != expected) {
            std::fprintf(stderr, "the program did not show the lists\n");
            return 1;
        }
        bestEmpty = std::min(bestEmpty, e.ms);
        bestFull = std::min(bestFull, f.ms);
        bestCli = std::min(bestCli, c);
        ratios << (f.ms - e.ms) / c;
    }
    std::printf("start-up to the window with %d customers and %d tasks, median of %d paired rounds\n", BenchData::kRows,
        BenchData::kRows, kRounds);
    std::printf("start-up best %.1f ms, empty start best %.1f ms, sqlite3 both SELECTs best %.1f ms; "
                "(start - empty start) / sqlite3 ratio %.2f (goal <= 1.2)\n",
        bestFull, bestEmpty, bestCli, BenchData::median(ratios));
    return 0;
}
