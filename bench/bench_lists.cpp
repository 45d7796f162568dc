// Loads 100,000 customers and 100,000 tasks through the real window and reports, against the
// sqlite3 program running the same SELECT on the same file, the reload time ratio, the memory the
// loaded list adds per byte of text it holds, and the time to scroll and repaint a full window.
#include "app.h"
#include "application.h"
#include "benchdata.h"
#include "canvas.h"
#include "dialogs.h"
#include "listbox.h"
#include "principal.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QScrollBar>
#include <cstdio>
#include <malloc.h>
#include <sqlite3.h>

namespace {
using BenchData::kRows;
constexpr int kRounds = 7;

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

double timed(const std::function<void()>& run)
{
    QElapsedTimer t;
    t.start();
    run();
    return t.nsecsElapsed() / 1e6;
}

double sqliteCli(const QString& path, const QString& sql)
{
    return timed([&] {
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

// Blocks from the heap and those mapped on their own, which large allocations get.
size_t heapInUse()
{
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd;
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
    const BenchData::Home home;
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
    BenchData::generate(path);

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
    std::printf("%d rows per list, median of %d paired rounds\n", kRows, kRounds);
    for (const Measure& m : measures) {
        w->pagePanel()->setValue(m.list == w->Contatos ? 0 : 1);
        QList<double> ratios;
        double ours = 1e18, cli = 1e18;
        for (int round = 0; round < kRounds; ++round) {
            const double o = timed([&] {
                m.load();
                QCoreApplication::processEvents(); // the view takes in the rows
            });
            const double c = sqliteCli(path, m.select);
            ours = std::min(ours, o);
            cli = std::min(cli, c);
            ratios << o / c;
        }
        m.list->DeleteAllRows();
        QCoreApplication::processEvents();
        malloc_trim(0);
        const size_t before = heapInUse();
        m.load();
        QCoreApplication::processEvents();
        const size_t after = heapInUse();
        const qint64 bytes = scalar(path, m.bytesSql);
        const double frame = worstFrame(m.list);
        std::printf("%-9s reload best %.1f ms, sqlite3 best %.1f ms, reload ratio %.2f (goal <= 1.2)\n", m.name, ours,
            cli, BenchData::median(ratios));
        std::printf("%-9s list memory %.1f MB for %.1f MB of text, memory ratio %.2f (goal <= 1.4)\n", m.name,
            double(after - before) / 1e6, double(bytes) / 1e6, double(after - before) / double(bytes));
        std::printf("%-9s slowest scroll+repaint of a full window: %.1f ms\n", m.name, frame);
    }
    w->close();
    return 0;
}
