// Work that grows with one card's size stays linear: one property with N distinct parameters read, a
// group of N members renamed and saved, and a book of N collections (one folder each) read. Each is timed at N and 2N:
// a ratio near 2 is linear, near 4 quadratic.
#include "abcffunctions.h"
#include "addressbook.h"
#include "benchdata.h"
#include "vcard.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <cstdio>

namespace {

constexpr int kRuns = 3;

double readParameters(int n)
{
    QByteArray card = "BEGIN:VCARD\r\nVERSION:3.0\r\nNOTE";
    for (int i = 0; i < n; ++i)
        card += ";P" + QByteArray::number(i) + "=a";
    card += ":x\r\nEND:VCARD\r\n";
    QElapsedTimer t;
    t.start();
    const vcard::File f = vcard::parse(card);
    const double ms = t.nsecsElapsed() / 1e6;
    return f.cards.value(0) && f.cards[0]->props.value(1).params.size() == n ? ms : -1;
}

double saveRenamedGroup(const QString& home, int n)
{
    const QString folder = home + QStringLiteral("/.local/share/contacts");
    QDir(folder).removeRecursively();
    QDir().mkpath(folder);
    QByteArray people, group = "BEGIN:VCARD\r\nVERSION:4.0\r\nKIND:group\r\nUID:g\r\nFN:Team\r\n";
    for (int i = 0; i < n; ++i) {
        const QByteArray uid = "p" + QByteArray::number(i);
        people += "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:" + uid + "\r\nN:Person;" + uid + ";;;\r\nEND:VCARD\r\n";
        group += "MEMBER:urn:uuid:" + uid + "\r\n";
    }
    QFile a(folder + QStringLiteral("/a.vcf")), b(folder + QStringLiteral("/b.vcf"));
    if (!a.open(QIODevice::WriteOnly) || !b.open(QIODevice::WriteOnly))
        return -1;
    a.write(people);
    b.write(group + "END:VCARD\r\n");
    a.close();
    b.close();
    _ABCFFunctions::resetAddressBookForTesting();
    const auto book = System::AddressBook();
    const auto groups = book->Groups();
    if (groups.size() != 1 || groups[0]->Contacts().size() != n)
        return -1;
    groups[0]->setName(QStringLiteral("Renamed"));
    QElapsedTimer t;
    t.start();
    const bool saved = book->Save();
    return saved ? t.nsecsElapsed() / 1e6 : -1;
}

// Each size's folders are made once, in a data folder of their own: making them costs far more than reading.
double readCollections(const QString& home, int n)
{
    const QString data = home + QStringLiteral("/collections-") + QString::number(n);
    const QString folder = data + QStringLiteral("/contacts");
    for (int i = 0; i < n && !QDir(folder).exists(); ++i) {
        const QByteArray uid = "p" + QByteArray::number(i);
        QDir().mkpath(folder + QStringLiteral(".new/") + QString::fromLatin1(uid));
        QFile f(folder + QStringLiteral(".new/") + QString::fromLatin1(uid) + QStringLiteral("/a.vcf"));
        if (!f.open(QIODevice::WriteOnly))
            return -1;
        f.write("BEGIN:VCARD\r\nVERSION:3.0\r\nUID:" + uid + "\r\nN:Person;" + uid + ";;;\r\nEND:VCARD\r\n");
        if (i == n - 1 && !QDir().rename(folder + QStringLiteral(".new"), folder))
            return -1;
    }
    const QByteArray before = qgetenv("XDG_DATA_HOME");
    qputenv("XDG_DATA_HOME", data.toUtf8());
    _ABCFFunctions::resetAddressBookForTesting();
    QElapsedTimer t;
    t.start();
    const auto book = System::AddressBook();
    const double ms = t.nsecsElapsed() / 1e6;
    const bool all = book->Contacts().size() == n;
    qputenv("XDG_DATA_HOME", before);
    return all ? ms : -1;
}

template <class F> void report(const char* what, int n, F&& run)
{
    double small = 1e18, large = 1e18;
    for (int i = 0; i < kRuns; ++i) { // in turns, so that load from elsewhere falls on both sizes
        small = std::min(small, run(n));
        large = std::min(large, run(2 * n));
    }
    std::printf("%s: %d in %.1f ms, %d in %.1f ms, ratio %.2f (goal <= 2.5, linear)\n", what, n, small, 2 * n, large,
        large / small);
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const BenchData::Home home;
    report("one property's distinct parameters read", 20000, readParameters);
    report("a renamed group's members saved", 10000, [&](int n) { return saveRenamedGroup(home.path(), n); });
    report("a book's collections read", 20000, [&](int n) { return readCollections(home.path(), n); });
    return 0;
}
