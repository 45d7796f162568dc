// Reads a book of 10,000 generated vCards (accented names, one to three addresses, a fifth of them
// 2.1 with quoted-printable) and walks every person's first name, last name and first e-mail through
// the object layer, against Python's standard library reading the same files and splitting their lines.
#include "abcffunctions.h"
#include "addressbook.h"
#include "benchdata.h"
#include "vcardbook.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <cstdio>

namespace {
constexpr int kCards = 10000;
constexpr int kRuns = 5;

double pythonFloor(const QString& folder)
{
    QProcess p;
    p.start(QStringLiteral("/usr/bin/python3"),
        {QStringLiteral("-c"),
            QStringLiteral("import os, sys, time\n"
                           "d = sys.argv[1]\n"
                           "t = time.perf_counter()\n"
                           "n = 0\n"
                           "for name in sorted(os.listdir(d)):\n"
                           "    with open(os.path.join(d, name), encoding='utf-8', errors='replace') as f:\n"
                           "        n += len(f.read().splitlines())\n"
                           "print((time.perf_counter() - t) * 1000)\n"),
            folder});
    p.waitForFinished(-1);
    return p.readAllStandardOutput().trimmed().toDouble();
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const BenchData::Home home;
    const QString folder = home.path() + QStringLiteral("/.local/share/contacts");
    vcardbook::generateBook(folder, kCards);
    double ours = 1e18, python = 1e18;
    qint64 check = 0;
    for (int run = 0; run < kRuns; ++run) { // in turns, so that load from elsewhere falls on both sides
        _ABCFFunctions::resetAddressBookForTesting();
        QElapsedTimer t;
        t.start();
        const auto book = System::AddressBook();
        for (const auto& c : book->Contacts()) {
            const QString name = c->FirstName().Operator_Add(QStringLiteral(" "));
            const QString whole = c->LastName().Operator_AddRight(name);
            const QString mail = c->EmailAddresses().Count() > 0 ? c->EmailAddresses().Operator_Convert() : QString();
            check += whole.size() + mail.size();
        }
        ours = std::min(ours, t.nsecsElapsed() / 1e6);
        python = std::min(python, pythonFloor(folder));
    }
    std::printf(
        "address book: %d cards (checksum %lld), best of %d runs\n", kCards, static_cast<long long>(check), kRuns);
    std::printf("address book read and walk %.1f ms, python read+split %.1f ms, ratio %.2f (goal <= 3)\n", ours, python,
        ours / python);
    return 0;
}
