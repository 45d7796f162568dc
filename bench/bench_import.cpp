// Imports a generated book of 10,000 vCards through the real dialog, timed from Ok to the reloaded
// customer list, against the sqlite3 program running the same 10,000 single-row INSERTs, each its
// own transaction, on a copy of the same database. Both sides commit once per person. The home lies
// once on disk, where the flushes of each commit weigh in, and once in memory (/dev/shm), where the
// figure weighs the program's own work; each in a process of its own, since the home is fixed at start.
#include "abcffunctions.h"
#include "addressbook.h"
#include "app.h"
#include "appcommands.h"
#include "application.h"
#include "benchdata.h"
#include "dialogs.h"
#include "listbox.h"
#include "menubar1.h"
#include "principal.h"
#include "vcardbook.h"
#include "waddressbook.h"

#include <QAction>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QProcess>
#include <QPushButton>
#include <QTimer>
#include <algorithm>
#include <cstdio>

namespace {
constexpr int kPeople = 10000;
// On a disk every commit waits for its flushes, so fewer rounds there keep the run within minutes.
constexpr int kRoundsInMemory = 5, kRoundsOnDisk = 3;

QString quoted(const QString& s)
{
    return QLatin1Char('\'') + QString(s).replace(QLatin1Char('\''), QLatin1String("''")) + QLatin1Char('\'');
}

// The statements the import amounts to, with the same values, read through the object layer.
QByteArray insertScript()
{
    QByteArray sql;
    for (const auto& c : System::AddressBook()->Contacts()) {
        const QString name = c->LastName().Operator_AddRight(c->FirstName().Operator_Add(QStringLiteral(" ")));
        const QString mail = c->EmailAddresses().Count() > 0 ? c->EmailAddresses().Operator_Convert() : QString();
        sql += (QStringLiteral("INSERT INTO Contatos (Nome, Email) VALUES (") + quoted(name) + QLatin1Char(',')
            + quoted(mail) + QStringLiteral(");\n"))
                   .toUtf8();
    }
    return sql;
}

// Opens the dialog from the File menu, chooses "All" and presses Ok; the time runs from Ok until the
// main list has taken in the reloaded rows.
double importThroughDialog()
{
    double ms = -1;
    QTimer shown;
    QObject::connect(&shown, &QTimer::timeout, [&] {
        if (!wAddressBook::Exists() || !wAddressBook::Instance()->isVisible())
            return;
        shown.stop();
        wAddressBook* d = wAddressBook::Instance();
        d->lAddressBook->setListIndex(0);
        QElapsedTimer t;
        t.start();
        d->btOk->click();
        QCoreApplication::processEvents();
        ms = t.nsecsElapsed() / 1e6;
    });
    shown.start(0);
    MenuBar1::Instance()->FileAddressBook->trigger();
    return ms;
}

double sqliteCli(const QString& database, const QString& script)
{
    QElapsedTimer t;
    t.start();
    QProcess p;
    p.setStandardInputFile(script);
    p.setStandardOutputFile(QProcess::nullDevice());
    p.start(QStringLiteral("sqlite3"), {database});
    p.waitForFinished(-1);
    return t.nsecsElapsed() / 1e6;
}
// Runs the benchmark with its home at each place in turn, in a child process of this program.
int forEachPlace(const QString& self)
{
    for (const char* place : {"disk", "memory"}) {
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedChannels);
        child.start(self, {QString::fromLatin1(place)});
        if (!child.waitForFinished(-1) || child.exitCode() != 0)
            return 1;
    }
    return 0;
}

QString homeTemplate(const QString& place, const QString& self)
{
    if (place == QLatin1String("memory") && QDir(QStringLiteral("/dev/shm")).exists())
        return QStringLiteral("/dev/shm/tallyvane-bench-XXXXXX");
    // Beside the program, in the build tree, which is on disk even where the temporary folder is not.
    return QFileInfo(self).absolutePath() + QStringLiteral("/tallyvane-bench-XXXXXX");
}
} // namespace

int main(int argc, char** argv)
{
    const QString self = QString::fromLocal8Bit(argv[0]);
    if (argc < 2)
        return forEachPlace(self);
    const QString place = QString::fromLocal8Bit(argv[1]);
    const BenchData::Home home(homeTemplate(place, self));
    Application application(argc, argv);
    DialogHooks::setRecording(true);
    setQuitRecordsOnly(true);
    App app;
    ApplicationAddMenuHandlers();
    MakeDefaultView();
    if (!Principal::Start())
        return 1;
    Principal* w = Principal::Instance();
    vcardbook::generateBook(home.path() + QStringLiteral("/.local/share/contacts"), kPeople);
    const QString script = home.path() + QStringLiteral("/inserts.sql");
    QFile out(script);
    if (!out.open(QIODevice::WriteOnly) || out.write(insertScript()) < 0)
        return 1;
    out.close();
    const QString database = App::DatabaseItem()->NativePath(), copy = home.path() + QStringLiteral("/copy.rbd");
    QList<double> ratios;
    double ours = 1e18, cli = 1e18;
    const int rounds = place == QLatin1String("memory") ? kRoundsInMemory : kRoundsOnDisk;
    for (int round = 0; round < rounds; ++round) { // in pairs, so that load from elsewhere falls on both sides
        SQLDatabase* db = app.tvDB.get();
        db->SQLExecute(QStringLiteral("DELETE FROM Contatos"));
        db->Commit();
        w->CarregaContatos();
        QFile::remove(copy);
        QFile::copy(database, copy);
        const double o = importThroughDialog();
        if (w->Contatos->ListCount() != kPeople || !DialogHooks::takeMessages().isEmpty())
            return 1;
        const double c = sqliteCli(copy, script);
        ours = std::min(ours, o);
        cli = std::min(cli, c);
        ratios << o / c;
    }
    std::sort(ratios.begin(), ratios.end());
    std::printf("import (%s): %d people through the dialog, median of %d paired rounds\n", argv[1], kPeople, rounds);
    std::printf("import (%s) from Ok to the reloaded list best %.1f ms, sqlite3 same inserts best %.1f ms, ratio %.2f "
                "(goal <= 1.5)\n",
        argv[1], ours, cli, ratios.at(ratios.size() / 2));
    std::fflush(stdout);
    w->close();
    return 0;
}
