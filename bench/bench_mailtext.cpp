// Input sizes that must cost linear time in the mail text: a 1 MB message of one header repeated,
// parsed and written out again, against 1 MB of distinct headers; and, for the recipient list and
// the hexadecimal conversions, the time for 4N items against 4 times the time for N (1.0 is linear,
// 4.0 quadratic). Prints the best of five runs of each.
#include "emailattachment.h"
#include "emailmessage.h"
#include "smtpsocket.h"

#include <QElapsedTimer>
#include <algorithm>
#include <cstdio>
#include <functional>

namespace {
constexpr int kRuns = 5;
constexpr qsizetype kMessageBytes = 1 << 20;

double best(const std::function<void()>& work)
{
    double b = 1e9;
    for (int i = 0; i < kRuns; ++i) {
        QElapsedTimer t;
        t.start();
        work();
        b = std::min(b, t.nsecsElapsed() / 1e9);
    }
    return b;
}

// Header lines of the same length, up to 1 MB, then a short body.
QString message(bool repeated)
{
    QString text;
    for (int i = 0; text.size() < kMessageBytes; ++i) {
        const QString n = QStringLiteral("%1").arg(i, 6, 10, QLatin1Char('0'));
        text += repeated ? QStringLiteral("X-Repeated-Hdr: ") + n
                         : QStringLiteral("X-Hdr-") + n + QStringLiteral(": ") + n;
        text += QStringLiteral("\r\n");
    }
    return text + QStringLiteral("\r\nbody\r\n.");
}

double parseAndSource(const QString& text)
{
    return best([&text] {
        EmailMessage m;
        m.setSource(text);
        m.Source();
    });
}

// The recipient list as the SMTP client builds it, up to the last RCPT TO.
double recipients(int n)
{
    return best([n] {
        SMTPSocket s;
        QByteArray written;
        s.setStandIn([&written](const QByteArray& bytes) { written += bytes; });
        auto m = std::make_shared<EmailMessage>();
        m->setFromAddress(QStringLiteral("shop@tallyvane.test"));
        for (int i = 0; i < n; ++i)
            m->AddBCCRecipient(QStringLiteral("customer%1@example.test").arg(i));
        s.Messages << m;
        s.SendMail();
        s.receive("220 ready\r\n");
        for (int i = 0; i < n + 2; ++i)
            s.receive("250 OK\r\n");
        if (!written.contains(QStringLiteral("<customer%1@example.test>").arg(n - 1).toLatin1()))
            std::fprintf(stderr, "the last recipient was not sent\n");
    });
}

double hex(int n)
{
    QString text(n, Qt::Uninitialized);
    for (int i = 0; i < n; ++i)
        text[i] = QChar(i % 256);
    return best([&text] {
        if (EmailAttachment::Hex2Str(EmailAttachment::Str2Hex(text)) != text)
            std::fprintf(stderr, "the hexadecimal round trip failed\n");
    });
}
} // namespace

int main()
{
    const double repeated = parseAndSource(message(true));
    const double distinct = parseAndSource(message(false));
    std::printf("1 MB of headers, parsed and written again: one name repeated %.3f s, distinct names %.3f s, "
                "ratio %.2f (goal <= 2)\n",
        repeated, distinct, repeated / distinct);
    // A boundary is searched for in the body: one of 40,000 dashes over 80,000 more, against letters.
    const auto boundary = [](QChar c) {
        return QStringLiteral("Content-Type: multipart/mixed; boundary=") + QString(40000, c)
            + QStringLiteral("\r\n\r\n") + QString(80000, QLatin1Char('-'));
    };
    const double dashes = parseAndSource(boundary(QLatin1Char('-'))),
                 letters = parseAndSource(boundary(QLatin1Char('q')));
    std::printf("a 40,000-character boundary over 80,000 dashes: of dashes %.3f s, of letters %.3f s, ratio %.2f "
                "(goal <= 2)\n",
        dashes, letters, dashes / letters);
    const double r1 = recipients(5000), r4 = recipients(20000);
    std::printf("recipient list to the last RCPT TO: 5,000 %.3f s, 20,000 %.3f s, growth %.2f (1.0 is linear)\n", r1,
        r4, r4 / (4 * r1));
    const double h1 = hex(1 << 18), h4 = hex(1 << 20);
    std::printf(
        "hexadecimal there and back: 256 KB %.3f s, 1 MB %.3f s, growth %.2f (1.0 is linear)\n", h1, h4, h4 / (4 * h1));
    return 0;
}
