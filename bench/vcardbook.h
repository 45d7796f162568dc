#pragma once

// A generated book for the benchmarks: one card per file, accented names, one to three addresses,
// a fifth of the cards 2.1 with quoted-printable, the rest 3.0 and 4.0.
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QString>

namespace vcardbook {

inline QByteArray qp(const QByteArray& text)
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

inline void generateBook(const QString& folder, int cards)
{
    static const char* const first[] = {"José", "Zoë", "Ana", "François", "Jürgen", "Søren", "Łukasz", "María", "Björn",
        "Inês", "Chloé", "João", "Dvořák", "Renée", "Ömer", "Ana Luísa"};
    static const char* const last[] = {"Ångström", "Müller", "Núñez", "Gonçalves", "Østergaard", "Wałęsa", "Brontë",
        "da Silva", "Łopuszański", "Šimek", "Éluard", "Ferreira", "O'Brien", "van der Berg"};
    static const char* const cities[] = {"Köln", "São Paulo", "Zürich", "Kraków", "Málaga", "Reykjavík", "Lisboa"};
    QRandomGenerator rng(2024);
    QDir().mkpath(folder);
    for (int i = 0; i < cards; ++i) {
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

} // namespace vcardbook
