// Memory of the address book. Peak: one vCard export of 7.5, 15 and 30 MB of small cards, and one of 60 MB with
// photos, read through the book and walked as the import walks it, each in a fresh process, so that peaks do not
// mix; the figure is the process's peak (VmHWM) over that of a process reading a one-card book, as a ratio to the
// file's size. Changes: a 10,000-person book in one vCard file, rewritten with one card changed before each
// opening, as Evolution or Thunderbird rewrite their one database; the heap in use (mallinfo2) after 1, 10, 50
// and 100 openings.
#include "abcffunctions.h"
#include "addressbook.h"
#include "benchdata.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <cstdio>
#include <malloc.h>

namespace {

// About 134 bytes a card, as the 30 MB export of 224,642 cards: names with accents, one e-mail, a phone
// on every other card, a fifth of the cards 2.1 with quoted-printable.
QByteArray card(int i, const QByteArray& note = QByteArray())
{
    static const char* const first[] = {"José", "Zoë", "Ana", "François", "Jürgen", "Søren", "Łukasz", "María"};
    static const char* const last[] = {"Müller", "Núñez", "Gonçalves", "Wałęsa", "Brontë", "Šimek", "Ferreira"};
    const QByteArray n = QByteArray::number(i), f = first[i % 8], l = last[i % 7];
    QByteArray c = "BEGIN:VCARD\r\n";
    if (i % 5 == 0)
        c += "VERSION:2.1\r\nN;CHARSET=UTF-8:" + l + ";" + f + "\r\n";
    else
        c += "VERSION:3.0\r\nN:" + l + ";" + f + ";;;\r\nFN:" + f + " " + l + "\r\n";
    c += "UID:" + n + "\r\nEMAIL;TYPE=INTERNET:" + n + "@example.org\r\n";
    if (i % 2)
        c += "TEL;TYPE=CELL:+49 170 " + n + "\r\n";
    return c + note + "END:VCARD\r\n";
}

QString contacts(const QString& home)
{
    return home + QStringLiteral("/.local/share/contacts");
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
}

qint64 statusKb(const char* field)
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : f.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qstrlen(field)).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

qint64 heapInUse()
{
    const struct mallinfo2 m = mallinfo2();
    return qint64(m.uordblks + m.hblkhd);
}

// The book read and walked as the import walks it: the groups, then every person's names and e-mail.
qint64 walk()
{
    const auto book = System::AddressBook();
    qint64 check = book->Groups().size();
    for (const auto& c : book->Contacts()) {
        const QString whole = c->LastName().Operator_AddRight(c->FirstName().Operator_Add(QStringLiteral(" ")));
        check += whole.size() + (c->EmailAddresses().Count() > 0 ? c->EmailAddresses().Operator_Convert().size() : 0);
    }
    return check;
}

// In a child process: the peak of reading the book of the home given, in kB.
int readOnce(const QString& home)
{
    for (const auto& [name, value] : BenchData::homeVariables(home))
        qputenv(name.constData(), value.toUtf8());
    const qint64 check = walk();
    std::printf("%lld %lld\n", static_cast<long long>(statusKb("VmHWM:")), static_cast<long long>(check));
    return 0;
}

qint64 peakOf(const QString& home)
{
    QProcess p;
    p.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--read"), home});
    p.waitForFinished(-1);
    return p.readAllStandardOutput().split(' ').value(0).toLongLong() * 1024;
}

void peaks()
{
    const BenchData::Home empty, full;
    QDir().mkpath(contacts(empty.path()));
    QDir().mkpath(contacts(full.path()));
    writeFile(contacts(empty.path()) + QStringLiteral("/one.vcf"), card(1));
    const qint64 base = peakOf(empty.path());
    for (const double mb : {7.5, 15.0, 30.0}) {
        QByteArray bytes;
        int cards = 0;
        while (bytes.size() < qint64(mb * 1e6))
            bytes += card(cards++);
        writeFile(contacts(full.path()) + QStringLiteral("/export.vcf"), bytes);
        const qint64 peak = peakOf(full.path());
        std::printf("vCard read peak: %.1f MB (%d cards) costs %.1f MB over a one-card book, ratio %.2f (goal <= 4)\n",
            bytes.size() / 1e6, cards, (peak - base) / 1e6, double(peak - base) / double(bytes.size()));
    }
    // An export with a photo of about 30 kB a person, folded as phones write it, as the files near the size cap are.
    QByteArray photo = "PHOTO;ENCODING=b;TYPE=JPEG:";
    for (int i = 0; photo.size() < 30000; ++i)
        photo += QByteArray(1, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[(i * 7919) % 64]);
    for (qsizetype at = 75; at < photo.size(); at += 77)
        photo.insert(at, "\r\n ");
    QByteArray bytes;
    int cards = 0;
    while (bytes.size() < qint64(60e6))
        bytes += card(cards++, photo + "\r\n");
    writeFile(contacts(full.path()) + QStringLiteral("/export.vcf"), bytes);
    const qint64 peak = peakOf(full.path());
    std::printf("vCard read peak: %.1f MB with photos (%d cards) costs %.1f MB, ratio %.2f (goal <= 4)\n",
        bytes.size() / 1e6, cards, (peak - base) / 1e6, double(peak - base) / double(bytes.size()));
}

void changes()
{
    const BenchData::Home home;
    QDir().mkpath(contacts(home.path()));
    const QString path = contacts(home.path()) + QStringLiteral("/book.vcf");
    constexpr int kPeople = 10000;
    QList<QByteArray> cards;
    for (int i = 0; i < kPeople; ++i)
        cards.append(card(i));
    qint64 first = 0;
    for (int round = 1; round <= 100; ++round) {
        // One card changed, and the size with it, so that the stamp differs even within one clock tick.
        cards[round % kPeople] = card(round % kPeople, "NOTE:changed in round " + QByteArray::number(round) + "\r\n");
        writeFile(path, cards.join());
        walk();
        malloc_trim(0);
        const qint64 used = heapInUse();
        if (round == 1)
            first = used;
        if (round == 1 || round == 10 || round == 50 || round == 100)
            std::printf("%d-person book, %d changes between openings: heap in use %.1f MB, ratio to the first %.2f "
                        "(goal <= 1.10, flat)\n",
                kPeople, round, used / 1e6, double(used) / double(first));
    }
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--read") == 0)
        return readOnce(QString::fromLocal8Bit(argv[2]));
    peaks();
    changes();
    return 0;
}
