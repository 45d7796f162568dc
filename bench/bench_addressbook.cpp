// Reads a book of 10,000 generated vCards (accented names, one to three addresses, a fifth of them
// 2.1 with quoted-printable) and walks every person's first name, last name and first e-mail through
// the object layer, against Python's standard library reading the same files and splitting their lines.
#include "abcffunctions.h"
#include "addressbook.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <cstdio>

namespace {
constexpr int kCards = 10000;
constexpr int kRuns = 5;

QByteArray qp(const QByteArray& text)
{
    QByteArray out;
    for (const char c : text) {
        if (uchar(c) >= 0x80 || c == '=')
            out += '=' + QByteArray::number(uchar(c), 16).toUpper().rightJustified(2, '0');
        else
            out += c;
    }
    return out;
}

void generate(const QString& folder)
{
    static const char* const first[] = {"José", "Zoë", "Ana", "François", "Jürgen", "Søren", "Łukasz", "María", "Björn",
        "Inês", "Chloé", "João", "Dvořák", "Renée", "Ömer", "Ana Luísa"};
    static const char* const last[] = {"Ångström", "Müller", "Núñez", "Gonçalves", "Østergaard", "Wałęsa", "Brontë",
        "da Silva", "Łopuszański", "Šimek", "Éluard", "Ferreira", "O'Brien", "van der Berg"};
    static const char* const cities[] = {"Köln", "São Paulo", "Zürich", "Kraków", "Málaga", "Reykjavík", "Lisboa"};
    QRandomGenerator rng(2024);
    QDir().mkpath(folder);
    for (int i = 0; i < kCards; ++i) {
        const QByteArray f = first[rng.bounded(16)], l = last[rng.bounded(14)];
        const int version = i % 5 == 0 ? 21 : i % 5 == 1 ? 40 : 30;
        QByteArray card = "BEGIN:VCARD\r\nVERSION:"
            + QByteArray(version == 21 ? "2.1"
                    : version == 40    ? "4.0"
                                       : "3.0")
            + "\r\n";
        card += "UID:" + QByteArray::number(i) + "-bench\r\n";
        if (version == 21)
            card += "N;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:" + qp(l) + ";" + qp(f) + ";;;\r\n";
        else
            card += "N:" + l + ";" + f + ";;;\r\nFN:" + f + " " + l + "\r\n";
        const QByteArray mail = QByteArray::number(i) + "@example.org";
        for (int m = 0, n = 1 + int(rng.bounded(3)); m < n; ++m)
            card += QByteArray(m == 0 ? "EMAIL;TYPE=WORK:" : "EMAIL;TYPE=HOME:") + QByteArray::number(m) + "." + mail
                + "\r\n";
        card += "TEL;TYPE=CELL:+49 170 " + QByteArray::number(rng.bounded(1000000)) + "\r\n";
        for (int a = 0, n = 1 + int(rng.bounded(3)); a < n; ++a) {
            const QByteArray street = "Straße " + QByteArray::number(a + 1) + ";" + cities[rng.bounded(7)] + ";;"
                + QByteArray::number(10000 + rng.bounded(90000)) + ";Deutschland";
            card += version == 21 ? "ADR;HOME;CHARSET=UTF-8;ENCODING=QUOTED-PRINTABLE:;;" + qp(street) + "\r\n"
                                  : "ADR;TYPE=HOME:;;" + street + "\r\n";
        }
        if (i % 3 == 0)
            card += "NOTE:Met at the fair in " + QByteArray(cities[rng.bounded(7)])
                + "\\, talked about licences for the "
                  "new release and a longer line that folds\r\n over the limit of seventy-five octets\r\n";
        card += "ORG:Firma " + l + "\r\nEND:VCARD\r\n";
        QFile file(folder + QStringLiteral("/card%1.vcf").arg(i, 5, 10, QLatin1Char('0')));
        file.open(QIODevice::WriteOnly);
        file.write(card);
    }
}

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
    QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qputenv("XDG_DATA_HOME", (home.path() + QStringLiteral("/.local/share")).toUtf8());
    qputenv("XDG_CONFIG_HOME", (home.path() + QStringLiteral("/.config")).toUtf8());
    const QString folder = home.path() + QStringLiteral("/.local/share/contacts");
    generate(folder);
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
