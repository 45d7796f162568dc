#include "date.h"
#include "emailmessage.h"
#include "folderitem.h"
#include "random.h"
#include "testhome.h"
#include "text.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>
#include <ctime>

// The header store, attachments and the message text, byte for byte.
class TestMailText : public QObject
{
    Q_OBJECT

    // "\n" in a test's text stands for CR LF.
    static QString crlf(QString s) { return s.replace(QStringLiteral("\n"), QStringLiteral("\r\n")); }

    // Runs one operation: "A name value", "S name value", "S# name value n", "D# name n",
    // "P text" (the text after "P ", with \n as CR LF).
    static void run(InternetHeaders& h, const QString& op)
    {
        const QStringList f = op.split(QLatin1Char(' '));
        const QString cmd = f.value(0);
        if (cmd == QLatin1String("A"))
            h.AppendHeader(f.value(1), f.value(2));
        else if (cmd == QLatin1String("S"))
            h.SetHeader(f.value(1), f.value(2));
        else if (cmd == QLatin1String("S#"))
            h.SetHeader(f.value(1), f.value(2), f.value(3).toInt());
        else if (cmd == QLatin1String("D#"))
            h.Delete(f.value(1), f.value(2).toInt());
        else if (cmd == QLatin1String("P"))
            h._ParseHeaders(crlf(op.mid(2)));
        else
            QFAIL(qPrintable(op));
    }
    // Answers one probe: "count", "n:X" NameCount, "v:X:k" Value by name and number, "csv:X",
    // "dump" (every index as name=value), "email" and "source" (CR LF shown as |).
    static QString probe(const InternetHeaders& h, const QString& p)
    {
        const QStringList f = p.split(QLatin1Char(':'));
        if (p == QLatin1String("count"))
            return QString::number(h.Count());
        if (f[0] == QLatin1String("n"))
            return QString::number(h.NameCount(f[1]));
        if (f[0] == QLatin1String("v"))
            return f.size() > 2 ? h.Value(f[1], f[2].toInt()) : h.Value(f[1]);
        if (f[0] == QLatin1String("csv"))
            return h.CommaSeparatedValues(f[1]);
        if (p == QLatin1String("dump")) {
            QStringList out;
            for (int i = 0; i < h.Count(); ++i)
                out << h.Name(i) + QLatin1Char('=') + h.Value(i);
            return out.join(QLatin1Char(','));
        }
        if (p == QLatin1String("email"))
            return h._FormatEmailHeaders().replace(QStringLiteral("\r\n"), QStringLiteral("|"));
        if (p == QLatin1String("source"))
            return h.Source().replace(QStringLiteral("\r\n"), QStringLiteral("|"));
        return QStringLiteral("?");
    }

private slots:
    // Numbered sets and deletes are also checked change by change against a model by the headers corpus
    // (replay_headers).
    void headerStore_data()
    {
        QTest::addColumn<QStringList>("ops");
        QTest::addColumn<QStringList>("probes");
        const QStringList three = {"A X 1", "A X 2", "A X 3"};
        QTest::newRow("repeats") << three << QStringList{"n:X=3", "csv:X=1, 2, 3", "v:X:2=3", "v:X:-1=1"};
        QTest::newRow("set in place") << QStringList{"A X 1", "A Y 2", "S x 9"} << QStringList{"dump=X=9,Y=2", "n:X=1"};
        QTest::newRow("numbered set replaces") << three + QStringList{"S# X 7 1"} << QStringList{"csv:X=1, 7, 3"};
        QTest::newRow("case of names") << QStringList{"A Content-type a", "A CONTENT-TYPE b"}
                                       << QStringList{"n:content-Type=2", "dump=Content-type=a,CONTENT-TYPE=b"};
        QTest::newRow("parse unfolds blank")
            << QStringList{"P Subject: a\n b\nX:c\nno colon here\nY:  d"}
            << QStringList{"dump=Subject=a b,X=c,Y=d", "source=Subject: a| b|X:c|no colon here|Y:  d"};
        QTest::newRow("parse unfolds tab") << QStringList{"P Subject: a\n\tb"} << QStringList{"v:Subject=a b"};
        QTest::newRow("parse with LF") << QStringList{"P A: 1\nA: 2"} << QStringList{"csv:A=1, 2"};
        QTest::newRow("source is raw after changes")
            << QStringList{"P A: 1", "A B 2"} << QStringList{"source=A: 1", "count=2"};
        QTest::newRow("source without raw") << QStringList{"A A 1", "A B 2"} << QStringList{"source=A: 1|B: 2"};
        QTest::newRow("email order")
            << QStringList{"A X-Mailer m", "A bcc hidden", "A To a", "A To b", "A From f", "A Received r1", "A Date d",
                   "A Received r2", "A Subject s", "A Return-Path p", "A CC c", "A Empty"}
            << QStringList{"email=Return-Path: p|Received: r1|Received: r2|Date: d|Subject: s|From: f|To: a, b|CC: "
                           "c|X-Mailer: m|Empty: "};
        QTest::newRow("email others only")
            << QStringList{"A Z 1", "A Y 2", "A Z 3"} << QStringList{"email=Z: 1|Y: 2|Z: 3"};
        QTest::newRow("empty store") << QStringList{} << QStringList{"email=", "source=", "count=0", "n:X=0"};
    }
    void headerStore()
    {
        QFETCH(QStringList, ops);
        QFETCH(QStringList, probes);
        EmailHeaders h;
        for (const QString& op : ops)
            run(h, op);
        for (const QString& p : probes) {
            const qsizetype eq = p.indexOf(QLatin1Char('='));
            QCOMPARE(probe(h, p.left(eq)), p.mid(eq + 1));
        }
    }

    // ---- Attachments

    void attachmentHex_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("hex");
        QTest::addColumn<int>("ways"); // 1 text to hex, 2 hex to text, 3 both
        QTest::newRow("low code") << QString(QChar(10)) << "0A" << 3;
        QTest::newRow("above 255 keeps two digits") << QString(QChar(0x1234)) << "34" << 1;
        QTest::newRow("odd length drops the last digit") << QStringLiteral("TE") << "54455" << 2;
        QTest::newRow("junk digits read as 0") << QString(QChar(0)) + "A" << QStringLiteral("zz41") << 2;
    }
    void attachmentHex()
    {
        QFETCH(QString, text);
        QFETCH(QString, hex);
        QFETCH(int, ways);
        if (ways & 1)
            QCOMPARE(EmailAttachment::Str2Hex(text), hex);
        if (ways & 2)
            QCOMPARE(EmailAttachment::Hex2Str(hex), text);
    }

    void attachmentFromFile_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("lines");
        QTest::newRow("empty") << 0 << 0;
        QTest::newRow("57 bytes") << 57 << 1;
        QTest::newRow("58 bytes") << 58 << 2;
        QTest::newRow("4 KB") << 4096 << 72;
    }
    void attachmentFromFile()
    {
        QFETCH(int, size);
        QFETCH(int, lines);
        QTemporaryDir dir;
        const FolderItem file(dir.filePath("notes.txt"));
        QByteArray bytes(size, Qt::Uninitialized);
        for (char& c : bytes)
            c = char(QRandomGenerator::global()->bounded(256));
        TestHome::write(file.NativePath(), bytes);
        EmailAttachment a;
        a.LoadFromFile(&file);
        QCOMPARE(a.Name, QStringLiteral("notes.txt"));
        QCOMPARE(a.MIMEType, QStringLiteral("application/base64"));
        QCOMPARE(int(CountFields(a.Data, "\r\n")), lines);
        for (const QString& l : a.Data.split(QStringLiteral("\r\n")))
            QVERIFY(l.size() <= 76);
        a.MacType = QStringLiteral("TEXT");
        a.MacCreator = QStringLiteral("ttxt");
        QCOMPARE(a._FormatAttachment(),
            crlf("Content-Type: application/base64; name=\"notes.txt\";\n x-mac-type=\"54455854\"\n "
                 "x-mac-creator=\"74747874\"\nContent-transfer-encoding: Base64\nContent-disposition: attachment\n\n")
                + a.Data);
        // Round trip through a file, whatever the case of the encoding's name.
        a.ContentEncoding = QStringLiteral("BASE64");
        const FolderItem copy(dir.filePath("copy.bin"));
        QVERIFY(a.SaveToFile(&copy));
        QCOMPARE(TestHome::read(copy.NativePath()), bytes);
    }

    void attachmentEdges()
    {
        QTemporaryDir dir;
        EmailAttachment a;
        a.Name = QStringLiteral("kept");
        const FolderItem missing(dir.filePath("missing"));
        a.LoadFromFile(&missing);
        a.LoadFromFile(nullptr);
        QCOMPARE(a.Name, QStringLiteral("kept"));
        QCOMPARE(a.ContentEncoding, QString());
        // Only base64 can be saved; the file is left untouched.
        const FolderItem target(dir.filePath("t"));
        TestHome::write(target.NativePath(), "old");
        a.ContentEncoding = QStringLiteral("quoted-printable");
        QVERIFY(!a.SaveToFile(&target));
        QVERIFY(!a.SaveToFile(nullptr));
        QCOMPARE(TestHome::read(target.NativePath()), QByteArray("old"));
    }

    void attachmentParse_data()
    {
        QTest::addColumn<QString>("headers");
        QTest::addColumn<QStringList>("read"); // Name, MacType, MacCreator, ContentEncoding
        QTest::newRow("as written, both Mac parameters")
            << "Content-Type: application/base64; name=\"notes.txt\";\n x-mac-type=\"54455854\"\n "
               "x-mac-creator=\"74747874\"\nContent-transfer-encoding: Base64\nContent-disposition: attachment"
            << QStringList{"notes.txt", "TEXT" + EmailAttachment::Hex2Str(" x-mac-creator=74747874"), "ttxt", "Base64"};
        QTest::newRow("with semicolons")
            << "Content-Type: application/octet-stream; name=\"a b.pdf\"; x-mac-type=\"50444620\";\n\t"
               "x-mac-creator=\"43415241\"\nContent-Transfer-Encoding: base64"
            << QStringList{"a b.pdf", "PDF ", "CARA", "base64"};
        QTest::newRow("no parameters") << "Content-Type: text/x-foo" << QStringList{"", "", "", ""};
    }
    void attachmentParse()
    {
        QFETCH(QString, headers);
        QFETCH(QStringList, read);
        EmailAttachment a;
        a.ParseAttachment(QStringLiteral("x/y"), crlf(headers), QStringLiteral("DATA"));
        QCOMPARE(QStringList({a.MIMEType, a.Data}), QStringList({"x/y", "DATA"}));
        QCOMPARE(QStringList({a.Name, a.MacType, a.MacCreator, a.ContentEncoding}), read);
    }

    // ---- Message text

    void source_data()
    {
        QTest::addColumn<QStringList>("bodies"); // plain, HTML, enriched
        QTest::addColumn<QStringList>("extraHeaders");
        QTest::addColumn<int>("attachments");
        // After the subject and sender lines; b1, b2 stand for the boundaries in the order made.
        QTest::addColumn<QString>("expected");
        QTest::newRow("no body") << QStringList{"", "", ""} << QStringList{} << 0 << "BCC: \n\n\n.";
        QTest::newRow("plain") << QStringList{"Hi\n.\nend", "", ""} << QStringList{} << 0
                               << "Content-type: text/plain;\nContent-transfer-encoding: 7bit\n\nHi\n.\nend\n.";
        QTest::newRow("one body, charset header wins")
            << QStringList{"Hi", "", ""} << QStringList{"Content-type", "text/html;charset=ISO-8859-1"} << 0
            << "Content-type: text/html;charset=ISO-8859-1\nContent-transfer-encoding: 7bit\n\nHi\n.";
        QTest::newRow("two bodies")
            << QStringList{"P", "<b>H</b>", ""} << QStringList{} << 0
            << "Content-Type: multipart/alternative; boundary=\"b1\"\n\n--b1\nContent-type: text/plain;\n"
               "Content-transfer-encoding: 7bit\n\nP\n\n--b1\nContent-type: text/html;\n"
               "Content-transfer-encoding: 7bit\n\n<b>H</b>\n\n--b1--\n.";
        QTest::newRow("two bodies, encoding header present")
            << QStringList{"P", "H", ""} << QStringList{"Content-transfer-encoding", "8bit"} << 0
            << "Content-transfer-encoding: 8bit\nContent-Type: multipart/alternative; boundary=\"b1\"\n\n--b1\n"
               "Content-type: text/plain;\n\nP\n\n--b1\nContent-type: text/html;\n\nH\n\n--b1--\n.";
        QTest::newRow("three bodies")
            << QStringList{"P", "H", "E"} << QStringList{} << 0
            << "Content-Type: multipart/alternative; boundary=\"b1\"\n\n--b1\nContent-type: text/plain;\n"
               "Content-transfer-encoding: 7bit\n\nP\n\n--b1\nContent-type: text/html;\n"
               "Content-transfer-encoding: 7bit\n\nH\n\n--b1\nContent-type: text/enriched;\n"
               "Content-transfer-encoding: 7bit\n\nE\n\n--b1--\n.";
        QTest::newRow("no body, one attachment")
            << QStringList{"", "", ""} << QStringList{} << 1
            << "Content-Type: multipart/mixed; boundary=\"b1\"\nMime-Version: 1.0\n\n--b1\n\n\n\n--b1\n"
               "Content-Type: application/base64; name=\"a.txt\";\nContent-transfer-encoding: Base64\n"
               "Content-disposition: attachment\n\nQUJD\n\n--b1--\n.";
        QTest::newRow("one body, two attachments")
            << QStringList{"P", "", ""} << QStringList{} << 2
            << "Content-Type: multipart/mixed; boundary=\"b1\"\nMime-Version: 1.0\n\n--b1\nContent-type: text/plain;\n"
               "Content-transfer-encoding: 7bit\n\nP\n\n\n--b1\nContent-Type: application/base64; name=\"a.txt\";\n"
               "Content-transfer-encoding: Base64\nContent-disposition: attachment\n\nQUJD\n\n--b1\n"
               "Content-Type: application/base64; name=\"a.txt\";\nContent-transfer-encoding: Base64\n"
               "Content-disposition: attachment\n\nQUJD\n\n--b1--\n.";
        QTest::newRow("two bodies, one attachment")
            << QStringList{"P", "H", ""} << QStringList{} << 1
            << "Content-Type: multipart/mixed; boundary=\"b2\"\nMime-Version: 1.0\n\n--b2\n"
               "Content-Type: multipart/alternative; boundary=\"b1\"\n\n--b1\nContent-type: text/plain;\n"
               "Content-transfer-encoding: 7bit\n\nP\n\n--b1\nContent-type: text/html;\n"
               "Content-transfer-encoding: 7bit\n\nH\n\n--b1--\n\n\n--b2\n"
               "Content-Type: application/base64; name=\"a.txt\";\nContent-transfer-encoding: Base64\n"
               "Content-disposition: attachment\n\nQUJD\n\n--b2--\n.";
    }
    void source()
    {
        QFETCH(QStringList, bodies);
        QFETCH(QStringList, extraHeaders);
        QFETCH(int, attachments);
        QFETCH(QString, expected);
        // The first boundary's twelve draws are the lowest and spell "aaaa...", the second's the highest, "9999...".
        int draws = 0;
        setRandomSource([&draws] { return draws++ < 12 ? 0.0 : 0.9999999; });
        EmailMessage m;
        m.setSubject(QStringLiteral("S"));
        m.setFromAddress(QStringLiteral("f@x"));
        if (attachments == 0 && bodies[0].isEmpty() && bodies[1].isEmpty())
            m.Headers->AppendHeader(QStringLiteral("BCC"), QString()); // hidden however it is spelt
        for (int i = 0; i + 1 < extraHeaders.size(); i += 2)
            m.Headers->AppendHeader(extraHeaders[i], extraHeaders[i + 1]);
        m.BodyPlainText = crlf(bodies[0]);
        m.BodyHTML = crlf(bodies[1]);
        m.BodyEnriched = crlf(bodies[2]);
        for (int i = 0; i < attachments; ++i) {
            EmailAttachment a;
            a.MIMEType = QStringLiteral("application/base64");
            a.Name = QStringLiteral("a.txt");
            a.ContentEncoding = QStringLiteral("Base64");
            a.Data = QStringLiteral("QUJD");
            m.Attachments << a;
        }
        const QString text = m.Source();
        setRandomSource({});
        QString want = crlf("Subject: S\nFrom: f@x\n" + expected);
        want.replace(QStringLiteral("b1"), QString(12, QLatin1Char('a')));
        want.replace(QStringLiteral("b2"), QString(12, QLatin1Char('9')));
        want.remove(QStringLiteral("BCC: \r\n"));
        QCOMPARE(text, want);
    }

    void recipients()
    {
        EmailMessage m;
        m.AddRecipient(QStringLiteral("a, b"));
        m.AddRecipient(QStringLiteral("\"Doe, J\" <j@x>"));
        m.AddBCCRecipient(QStringLiteral("h1@x"));
        m.AddBCCRecipient(QStringLiteral("h2@x"));
        QCOMPARE(m.ToAddress(), QStringLiteral("a b, \"Doe J\" <j@x>"));
        QCOMPARE(m.BCCAddress(), QStringLiteral("h1@x, h2@x"));
        QCOMPARE(m.CCAddress(), QString());
        QCOMPARE(m.Headers->NameCount(QStringLiteral("BCC")), 1);
        QVERIFY(!m.Source().contains(QStringLiteral("h1@x")));
    }

    void dateText_data()
    {
        QTest::addColumn<QByteArray>("zone");
        QTest::addColumn<QString>("expected");
        QTest::newRow("-3 hours") << QByteArray("<-03>3") << "Sat, 7 Feb 2009 14:03:09 -0300";
        QTest::newRow("UTC") << QByteArray("UTC0") << "Sat, 7 Feb 2009 14:03:09 +0000";
        QTest::newRow("+5.5 hours reads +0550") << QByteArray("<+0530>-5:30") << "Sat, 7 Feb 2009 14:03:09 +0550";
    }
    void dateText()
    {
        QFETCH(QByteArray, zone);
        QFETCH(QString, expected);
        const QByteArray old = qgetenv("TZ");
        qputenv("TZ", zone);
        tzset();
        const Date d(QDateTime(QDate(2009, 2, 7), QTime(14, 3, 9)));
        const QString text = EmailMessage::_GetEmailDateStr(&d);
        const QString now = EmailMessage::_GetEmailDateStr(nullptr);
        qputenv("TZ", old);
        tzset();
        QCOMPARE(text, expected);
        QVERIFY(now.endsWith(expected.right(5)));
    }

    void parse_data()
    {
        QTest::addColumn<QString>("text"); // \n is CR LF, | a bare LF
        QTest::addColumn<QStringList>("bodies"); // plain, HTML
        QTest::addColumn<int>("attachments");
        QTest::newRow("single body") << "Subject: x\nContent-Type: text/html\n\n<p>hi</p>\n."
                                     << QStringList{"", "<p>hi</p>"} << 0;
        QTest::newRow("no blank line") << "Subject: x" << QStringList{"", ""} << 0;
        QTest::newRow("nested alternative and attachment")
            << "Content-Type: multipart/mixed; boundary=\"OUT\"\n\n--OUT\nContent-Type: multipart/alternative; "
               "boundary=\"IN\"\n\n--IN\nContent-Type: text/plain\n\nP\n--IN\nContent-Type: text/html\n\nH\n--IN--\n"
               "--OUT\nContent-Type: application/pdf; name=\"d.pdf\"\nContent-Disposition: "
               "attachment\n\nQUJD\n--OUT--\n."
            << QStringList{"P\n", "H"} << 1;
        // Separators match in any case, and an outer one splits the text even inside an inner part.
        QTest::newRow("outer separator inside an inner part")
            << "Content-Type: multipart/mixed; boundary=\"Out\"\n\n--OUT\nContent-Type: multipart/alternative; "
               "boundary=in\n\n--IN\nContent-Type: text/plain\n\nP\n--out\nContent-Type: text/html\n\nH\n--IN--\n"
               "--OUT--\n."
            << QStringList{"P\n", "H\n--IN--"} << 0;
        QTest::newRow("unknown type with headers is an attachment")
            << "Content-Type: multipart/mixed; boundary=B\n\n--B\nContent-Type: image/png\n\nXX\n--B--\n."
            << QStringList{"", ""} << 1;
        // The boundary is found, but a part without CR line ends reads as data of no known type.
        QTest::newRow("bare LF parts")
            << "Content-Type: multipart/alternative; boundary=Q||--Q|Content-Type: text/html||H|--Q--|."
            << QStringList{"", ""} << 1;
        // Nesting has no limit, and no depth exhausts the stack. Arbitrary texts are the fuzz targets' work.
        QString deep = "Content-Type: multipart/mixed; boundary=b0\n\n--b0\n";
        for (int i = 1; i < 20000; ++i)
            deep += QStringLiteral("Content-Type: multipart/mixed; boundary=b%1\n\n--b%1\n").arg(i);
        QTest::newRow("20,000 nested parts")
            << deep + "Content-Type: text/plain\n\ninner" << QStringList{"inner", ""} << 0;
    }
    void parse()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, bodies);
        QFETCH(int, attachments);
        EmailMessage m;
        m.setSource(crlf(text).replace(QLatin1Char('|'), QLatin1Char('\n')));
        QCOMPARE(QStringList({m.BodyPlainText, m.BodyHTML}), QStringList({crlf(bodies[0]), crlf(bodies[1])}));
        QCOMPARE(m.Attachments.size(), attachments);
    }
};

QTEST_GUILESS_MAIN(TestMailText)
#include "tst_mailtext.moc"
