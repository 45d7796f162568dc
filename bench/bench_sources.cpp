// The database sources of the address book: 10,000 people stored by Evolution Data Server itself in its
// contacts.db, and 10,000 in a Thunderbird abook.sqlite filled as Thunderbird stores cards. Each is
// read and walked (first name, last name, first e-mail) through the object layer, against the sqlite3
// program selecting the same columns of the same file, in paired rounds. Then the opening of an
// unchanged 10,000-card vCard folder, which must only look at the files.
#include "abcffunctions.h"
#include "addressbook.h"
#include "benchdata.h"
#include "vcardbook.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <cstdio>

namespace {
constexpr int kPeople = 10000;
constexpr int kRounds = 7;

// A home whose only source is the one the caller makes in it; Evolution's service keeps its cache and
// its socket there too.
struct Home : BenchData::Home
{
    Home()
    {
        qputenv("XDG_CACHE_HOME", path(".cache").toUtf8());
        QDir().mkpath(path("run"));
        qputenv("XDG_RUNTIME_DIR", path("run").toUtf8());
    }
};

bool run(const QString& program, const QStringList& args, const QByteArray& input = QByteArray())
{
    QProcess p;
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    const bool ok = p.waitForFinished(-1) && p.exitCode() == 0;
    if (!ok)
        std::fprintf(stderr, "%s failed: %s\n", qPrintable(program), p.readAllStandardError().constData());
    return ok;
}

QByteArray person(int i)
{
    return "BEGIN:VCARD\nVERSION:3.0\nUID:p" + QByteArray::number(i) + "\nN:Müller " + QByteArray::number(i)
        + ";José;;;\nFN:José Müller " + QByteArray::number(i) + "\nEMAIL;TYPE=WORK:" + QByteArray::number(i)
        + "@example.org\nEMAIL;TYPE=HOME:h" + QByteArray::number(i) + "@example.org\nTEL;TYPE=CELL:+49 170 "
        + QByteArray::number(i) + "\nEND:VCARD\n";
}

qint64 walk()
{
    qint64 check = 0;
    const auto book = System::AddressBook();
    for (const auto& c : book->Contacts()) {
        const QString whole = c->LastName().Operator_AddRight(c->FirstName().Operator_Add(QStringLiteral(" ")));
        check += whole.size() + (c->EmailAddresses().Count() > 0 ? c->EmailAddresses().Operator_Convert().size() : 0);
    }
    return check;
}

// Our read and walk against sqlite3 selecting the same columns, side by side in each round.
void compare(const char* name, const QString& file, const QString& sql)
{
    QList<double> ratios, ours, theirs;
    qint64 check = 0;
    for (int round = 0; round < kRounds; ++round) {
        _ABCFFunctions::resetAddressBookForTesting();
        QElapsedTimer t;
        t.start();
        check = walk();
        ours.push_back(t.nsecsElapsed() / 1e6);
        t.restart();
        QProcess p;
        p.setStandardOutputFile(QProcess::nullDevice());
        p.start(QStringLiteral("sqlite3"), {file, sql});
        p.waitForFinished(-1);
        theirs.push_back(t.nsecsElapsed() / 1e6);
        ratios.push_back(ours.back() / theirs.back());
    }
    std::printf("%s: %d people (checksum %lld), read and walk %.1f ms, sqlite3 %.1f ms, ratio %.2f (median of %d "
                "paired rounds; goal <= 1.5)\n",
        name, kPeople, static_cast<long long>(check), BenchData::median(ours), BenchData::median(theirs),
        BenchData::median(ratios), kRounds);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc < 3) {
        std::fprintf(stderr, "usage: bench_sources eds_book.py thunderbird-abook.sqlite\n");
        return 2;
    }
    {
        Home home;
        QByteArray adds;
        for (int i = 0; i < kPeople; ++i)
            adds += "add\n" + person(i) + "\n";
        if (!run(QStringLiteral("dbus-run-session"),
                {QStringLiteral("--"), QStringLiteral("/usr/bin/python3"), argv[1]}, adds))
            return 1;
        compare("Evolution contacts.db", home.path(".local/share/evolution/addressbook/system/contacts.db"),
            QStringLiteral("SELECT vcard FROM folder_id"));
    }
    {
        Home home;
        const QString dir = home.path(".thunderbird/p");
        QDir().mkpath(dir);
        QFile ini(home.path(".thunderbird/profiles.ini"));
        if (!ini.open(QIODevice::WriteOnly) || !QFile::copy(QString::fromLocal8Bit(argv[2]), dir + "/abook.sqlite"))
            return 1;
        ini.write("[Profile0]\nIsRelative=1\nPath=p\n");
        ini.close();
        QFile::setPermissions(dir + "/abook.sqlite", QFile::ReadOwner | QFile::WriteOwner);
        QByteArray sql = "BEGIN;\n";
        for (int i = 0; i < kPeople; ++i) {
            const QByteArray card = "'c" + QByteArray::number(i) + "'", n = QByteArray::number(i);
            sql += "INSERT INTO properties VALUES (" + card + ", '_vCard', '" + person(i).replace("UID:p", "UID:c")
                + "'), (" + card + ", 'FirstName', 'José'), (" + card + ", 'LastName', 'Müller " + n + "'), (" + card
                + ", 'DisplayName', 'José Müller " + n + "'), (" + card + ", 'PrimaryEmail', '" + n
                + "@example.org');\n";
        }
        if (!run(QStringLiteral("sqlite3"), {dir + "/abook.sqlite"}, sql + "COMMIT;\n"))
            return 1;
        compare("Thunderbird abook.sqlite", dir + "/abook.sqlite",
            QStringLiteral("SELECT card, name, value FROM properties"));
    }
    {
        Home home;
        vcardbook::generateBook(home.path(".local/share/contacts"), kPeople);
        _ABCFFunctions::resetAddressBookForTesting();
        QElapsedTimer t;
        t.start();
        walk();
        const double first = t.nsecsElapsed() / 1e6;
        QList<double> again;
        for (int round = 0; round < kRounds; ++round) {
            t.restart();
            System::AddressBook();
            again.push_back(t.nsecsElapsed() / 1e6);
        }
        std::printf("vCard folder: %d cards, first reading %.1f ms, opening again unchanged %.1f ms (median of %d; "
                    "goal <= 20)\n",
            kPeople, first, BenchData::median(again), kRounds);
    }
    return 0;
}
