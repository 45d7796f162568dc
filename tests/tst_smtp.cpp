#include "base64.h"
#include "exceptions.h"
#include "smtpserver.h"
#include "smtpsocket.h"
#include "text.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>
#include <list>

// The client, counting the reads its socket hands it.
class WatchedSMTP : public SMTPSocket
{
public:
    int reads = 0;

protected:
    void DataAvailable() override
    {
        ++reads;
        SMTPSocket::DataAvailable();
    }
};

// A server of our own that answers each client command with the next line of its script. The
// first reply is the greeting. In a reply, "|PAUSE|" sends what stands before it and holds the rest
// until the client has read the first piece, so that it reads the pieces apart; "CLOSE" ends the
// connection.
class ScriptedServer : public QObject
{
    Q_OBJECT

public:
    ScriptedServer(QStringList replies, QStringList& timeline, const WatchedSMTP& client)
        : m_replies(std::move(replies))
        , m_timeline(timeline)
        , m_client(client)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            m_peer = m_server.nextPendingConnection();
            connect(m_peer, &QTcpSocket::readyRead, this, &ScriptedServer::received);
            next();
        });
        m_server.listen(QHostAddress::LocalHost);
    }
    quint16 port() const { return m_server.serverPort(); }
    QString messageData;

private:
    void next()
    {
        if (!m_replies.isEmpty())
            send(m_replies.takeFirst());
    }
    void send(const QString& reply)
    {
        if (!m_peer)
            return;
        if (reply == QLatin1String("CLOSE")) {
            m_peer->disconnectFromHost();
            return;
        }
        const qsizetype pause = reply.indexOf(QLatin1String("|PAUSE|"));
        const QString now = pause < 0 ? reply : reply.left(pause);
        m_dataNext = now.startsWith(QLatin1String("354"));
        const int readsBefore = m_client.reads;
        m_peer->write(now.toLatin1());
        m_peer->flush();
        if (pause >= 0)
            sendAfterRead(reply.mid(pause + 7), readsBefore);
    }
    void sendAfterRead(const QString& rest, int readsBefore)
    {
        if (m_client.reads > readsBefore)
            send(rest);
        else
            QTimer::singleShot(5, this, [=, this] { sendAfterRead(rest, readsBefore); });
    }
    void received()
    {
        m_buffer += m_peer->readAll();
        for (;;) {
            const QByteArray end = m_dataNext ? QByteArray("\r\n.\r\n") : QByteArray("\r\n");
            const qsizetype at = m_buffer.indexOf(end);
            if (at < 0)
                return;
            const QString command = QString::fromUtf8(m_buffer.left(at + end.size() - 2));
            m_buffer.remove(0, at + end.size());
            if (m_dataNext) {
                messageData = command;
                m_dataNext = false;
            }
            const QString shown = command.endsWith(QLatin1String("\r\n.")) ? QStringLiteral("<message>") : command;
            m_timeline << QStringLiteral("C: %1 [%2]").arg(shown).arg(qint32(m_client.mode()));
            next();
        }
    }

    QTcpServer m_server;
    QTcpSocket* m_peer = nullptr;
    QStringList m_replies;
    QStringList& m_timeline;
    const WatchedSMTP& m_client;
    QByteArray m_buffer;
    bool m_dataNext = false;
};

class TestSmtp : public QObject
{
    Q_OBJECT

    static std::shared_ptr<EmailMessage> message(const QStringList& to, const QStringList& bcc = {})
    {
        auto m = std::make_shared<EmailMessage>();
        m->setFromAddress(QStringLiteral("Tally Vane <shop@tallyvane.test>"));
        m->setSubject(QStringLiteral("News"));
        for (const QString& a : to)
            m->AddRecipient(a);
        for (const QString& a : bcc)
            m->AddBCCRecipient(a);
        m->BodyHTML = QStringLiteral("<p>Hello</p>");
        return m;
    }
    // Waits for the timeline to reach a length, however slow the machine, and then to stay still for a
    // while, so that anything the client should not have done shows up too; a client that never stops
    // talking ends the wait after ten seconds. A short timeline fails the caller's comparison, without
    // QTRY's extra wait.
    static void settle(const QStringList& timeline, qsizetype atLeast)
    {
        if (!QTest::qWaitFor([&] { return timeline.size() >= atLeast; }, 20000))
            return;
        qsizetype seen = -1;
        for (int still = 0, rounds = 0; still < 4 && rounds < 100; ++rounds) {
            QTest::qWait(100);
            still = timeline.size() == seen ? still + 1 : 0;
            seen = timeline.size();
        }
    }

    // A client with its events, and what reaches the last-resort handler, in a timeline; run against
    // scripted servers one connection at a time.
    struct Client
    {
        QStringList timeline;
        WatchedSMTP smtp;
        std::list<ScriptedServer> servers; // each lives on with its connection to the end of the test
        Client()
        {
            smtp.ConnectionEstablished = [this](const QString& g) { timeline << "E: established " + g; };
            smtp.MessageSent
                = [this](const std::shared_ptr<EmailMessage>& m) { timeline << "E: sent " + m->Subject(); };
            smtp.MailSent = [this] { timeline << QStringLiteral("E: mail sent"); };
            smtp.ServerError = [this](qint32 code, const QString&, const std::shared_ptr<EmailMessage>& m) {
                timeline << QStringLiteral("E: error %1 %2").arg(code).arg(m ? m->Subject() : QStringLiteral("nil"));
            };
            smtp.Error = [this](int code) { timeline << QStringLiteral("E: socket %1").arg(code); };
            setUnhandledExceptionReporter([this](const std::exception& e) { timeline << UnhandledExceptionText(e); });
        }
        ~Client() { setUnhandledExceptionReporter({}); }
        void send(quint16 port)
        {
            smtp.Address = QStringLiteral("127.0.0.1");
            TCPSocket::redirectPort25(port);
            smtp.SendMail();
        }
        const ScriptedServer& run(const QStringList& replies, qsizetype atLeast)
        {
            ScriptedServer& server = servers.emplace_back(replies, timeline, smtp);
            send(server.port());
            settle(timeline, atLeast);
            return server;
        }
    };

private slots:
    void cleanup() { TCPSocket::redirectPort25(0); }

    void conversation_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<int>("messages");
        QTest::addColumn<QStringList>("recipients");
        QTest::addColumn<QStringList>("replies");
        QTest::addColumn<QStringList>("expected");
        const QString hi = "220 hi\r\n", hello = "250 hello\r\n", ok = "250 OK\r\n", go = "354 go\r\n";
        const QString queued = "250 queued\r\n";
        const QString ehlo = "C: EHLO [127.0.0.1] [-1]", plain = "C: auth plain AGFsaWNlAHMzY3JldCDDqQ== [-1]";
        const QString from = "C: MAIL FROM: <shop@tallyvane.test> [1]";
        // The usual road: greeted, HELO, the sender; one recipient and the message; the end.
        const QStringList helo = {"E: established hi", "C: HELO [127.0.0.1] [0]", from};
        const QStringList data = {"C: RCPT TO: <a@x.test> [2]", "C: DATA [3]", "C: <message> [4]", "E: sent News"};
        const QStringList bye = {"E: mail sent", "C: QUIT [0]"};
        const QStringList a = {"a@x.test"}, two = {"first@x.test", "Second <second@x.test>"};
        QTest::newRow("login, two recipients")
            << "alice" << 1 << two
            << QStringList{"220 server ready\r\n", "250-server hello\r\n250-AUTH LOGIN PLAIN\r\n250 OK\r\n",
                   "334 VXNlcm5hbWU6\r\n", "334 UGFzc3dvcmQ6\r\n", "235 authenticated\r\n", ok, ok, ok,
                   "354 go ahead\r\n", queued, "221 bye\r\n"}
            << QStringList{"E: established server ready", ehlo, "C: auth login [-1]", "C: YWxpY2U= [0]",
                   "C: czNjcmV0IMOp [0]", from, "C: RCPT TO: <first@x.test> [1]", "C: RCPT TO: <second@x.test> [2]",
                   "C: DATA [3]", "C: <message> [4]", "E: sent News", "E: mail sent", "C: QUIT [0]"};
        QTest::newRow("plain without a prompt")
            << "alice" << 1 << a << QStringList{hi, "250-hi\r\n250 SIZE 100\r\n", "235 ok\r\n", ok, ok, go, queued}
            << QStringList{"E: established hi", ehlo, plain, from} + data + bye;
        QTest::newRow("no user name: HELO")
            << "" << 1 << a << QStringList{hi, hello, ok, ok, go, queued} << helo + data + bye;
        QTest::newRow("empty queue at the greeting")
            << "alice" << 0 << a << QStringList{hi} << QStringList{"C: QUIT [0]"};
        QTest::newRow("auth refused with 502")
            << "alice" << 1 << a << QStringList{hi, "250 hi\r\n", "502 no auth\r\n", hello}
            << QStringList{"E: established hi", ehlo, plain, "C: HELO [127.0.0.1] [0]", from};
        QTest::newRow("550 at the second RCPT")
            << "" << 1 << two << QStringList{hi, hello, ok, ok, "550 no such user\r\n", "250 reset\r\n"}
            << helo
                + QStringList{"C: RCPT TO: <first@x.test> [1]", "C: RCPT TO: <second@x.test> [2]", "E: error 550 News",
                    "C: RSET [-100]"}
                + bye;
        QTest::newRow("refusal with the queue empty")
            << "" << 1 << a << QStringList{hi, hello, ok, ok, go, queued, "421 closing\r\n", "250 reset\r\n"}
            << helo + data + bye + QStringList{"E: error 421 nil", "C: RSET [-100]"} + bye;
        QTest::newRow("refused RSET drops the next message")
            << "" << 2 << a << QStringList{hi, hello, "530 auth first\r\n", "554 no reset\r\n", "250 reset\r\n"}
            << helo + QStringList{"E: error 530 News", "C: RSET [-100]", "E: error 554 News", "C: RSET [-100]"} + bye;
        QTest::newRow("second message on the same connection")
            << "" << 2 << a << QStringList{hi, hello, ok, ok, go, queued, ok}
            << helo + data + QStringList{from, "C: RCPT TO: <a@x.test> [2]"};
        // A prompt after an auth plain finds no key left: that failure reaches the last-resort handler.
        QTest::newRow("auth plain prompted")
            << "alice" << 1 << a << QStringList{hi, "250 hi\r\n", "334 \r\n", ok}
            << QStringList{"E: established hi", ehlo, plain, unhandled("OutOfBoundsException")};
        QTest::newRow("EHLO reply split at a line end")
            << "alice" << 1 << a << QStringList{hi, "250-server hello\r\n|PAUSE|250-AUTH LOGIN\r\n250 OK\r\n"}
            << QStringList{"E: established hi", ehlo, plain, "C: auth login [-1]"};
        QTest::newRow("250 to DATA waits for 354")
            << "" << 1 << a << QStringList{hi, hello, ok, ok, "250 early\r\n|PAUSE|" + go, queued} << helo + data + bye;
        QTest::newRow("no recipients: the client waits")
            << "" << 1 << QStringList{} << QStringList{hi, hello, ok} << helo;
        // A line end or NUL would start a command of its own; what stands between < and > is the address.
        QTest::newRow("addresses converted")
            << "" << 1
            << QStringList{"x@y.test\r\nRSET", "a@x\nQUIT", QStringLiteral("x@y\0RSET"), "a>b@x", "Ann <ann@x.test"}
            << QStringList{hi, hello, ok, ok, ok, ok, ok}
            << helo
                + QStringList{"C: RCPT TO: <x@y.test  RSET> [1]", "C: RCPT TO: <a@x QUIT> [1]",
                    "C: RCPT TO: <x@y RSET> [1]", "C: RCPT TO: <a>b@x> [1]", "C: RCPT TO: <ann@x.test> [2]"};
        QTest::newRow("500 outside EHLO is ignored") << "" << 1 << a << QStringList{hi, hello, "500 what\r\n"} << helo;
        QTest::newRow("no digits") << "" << 1 << a << QStringList{"hello there\r\n", "250 reset\r\n"}
                                   << QStringList{"E: error 0 News", "C: RSET [-100]"} + bye;
        QTest::newRow("code beyond 32 bits") << "" << 1 << a << QStringList{"99999999999 x\r\n", "250 reset\r\n"}
                                             << QStringList{"E: error 2147483647 News", "C: RSET [-100]"} + bye;
        const QString huge(8 << 20, 'x');
        QTest::newRow("8 MB greeting") << "" << 1 << a << QStringList{"220 " + huge + "\r\n", hello}
                                       << QStringList{"E: established " + huge, helo[1], from};
        QTest::newRow("server closes at once") << "" << 1 << a << QStringList{"CLOSE"} << QStringList{"E: socket 1"};
        QTest::newRow("server closes at DATA") << "" << 1 << a << QStringList{hi, hello, ok, ok, "CLOSE"}
                                               << helo + QStringList{data[0], data[1], "E: socket 1"};
        QTest::newRow("greeting without a line end") << "" << 1 << a << QStringList{"220 hi"} << QStringList{};
    }
    // The exact conversation, the state after each step and the events, in their order.
    void conversation()
    {
        QFETCH(QString, user);
        QFETCH(int, messages);
        QFETCH(QStringList, recipients);
        QFETCH(QStringList, replies);
        QFETCH(QStringList, expected);
        Client c;
        c.smtp.Username = user;
        c.smtp.Password = QStringLiteral("s3cret é");
        for (int i = 0; i < messages; ++i)
            c.smtp.Messages << message(recipients);
        const ScriptedServer& server = c.run(replies, expected.size());
        QCOMPARE(c.smtp.Port, 25);
        QCOMPARE(c.timeline, expected);
        // The Date the client adds is checked on the campaign's messages (tst_campaign).
        if (c.timeline.contains(QStringLiteral("C: <message> [4]")))
            QVERIFY(server.messageData.endsWith(QStringLiteral("\r\n<p>Hello</p>\r\n.")));
    }

    // A refused auth login leaves its keys, and the next connection answers with the old ones first.
    void staleKeysComeFirst()
    {
        Client c;
        c.smtp.Username = QStringLiteral("old");
        c.smtp.Password = QStringLiteral("pw");
        c.smtp.Messages << message({"a@x.test"}) << message({"b@x.test"});
        c.run({"220 hi\r\n", "250-AUTH LOGIN\r\n250 OK\r\n", "535 no\r\n"}, 4);
        QCOMPARE(c.smtp.authKeys(), QStringList({"b2xk", "cHc="}));
        c.timeline.clear();
        c.smtp.Username = QStringLiteral("new");
        c.run({"220 hi\r\n", "250-AUTH LOGIN\r\n250 OK\r\n", "334 VXNlcm5hbWU6\r\n", "334 UGFzc3dvcmQ6\r\n"}, 5);
        QCOMPARE(c.timeline,
            QStringList(
                {"E: established hi", "C: EHLO [127.0.0.1] [-1]", "C: auth login [-1]", "C: b2xk [0]", "C: cHc= [0]"}));
        QCOMPARE(c.smtp.authKeys(), QStringList({"bmV3", "cHc="}));
    }

    // ---- Against a real server: AUTH PLAIN here, AUTH LOGIN in the campaign's, HELO the scripted servers'.

    void realServer()
    {
        SmtpServer server;
        const quint16 port = server.start(QStringLiteral("plain"));
        QVERIFY(port > 0);

        Client c;
        c.smtp.Username = QStringLiteral("alice");
        c.smtp.Password = QStringLiteral("s3cret é");
        // A message with a date of its own, so that its text is known in full.
        const auto makeDated = [] {
            auto m = message({"To One <one@x.test>"}, {"b1@x.test", "b2@x.test"});
            m->AddCCRecipient(QStringLiteral("cc@x.test"));
            m->Headers->SetHeader(QStringLiteral("Date"), QStringLiteral("Sat, 7 Feb 2009 14:03:09 -0300"));
            m->BodyHTML = QStringLiteral("<p>Caf\u00e9</p>\r\n..leading dots stay\r\n");
            return m;
        };
        auto dated = makeDated();
        const QString expectedText = makeDated()->Source(); // Source changes the headers: a twin gives the text
        c.smtp.Messages << dated;
        c.send(port);
        QTRY_VERIFY_WITH_TIMEOUT(c.timeline.contains(QStringLiteral("E: mail sent")), 15000);
        QVERIFY2(c.timeline.filter(QStringLiteral("E: sent")).size() == 1, qPrintable(c.timeline.join('\n')));
        QCOMPARE(c.timeline.filter(QStringLiteral("E: error")), QStringList());
        server.stop();

        const QJsonObject one = server.message(1);
        QCOMPARE(one.value("from").toString(), QStringLiteral("shop@tallyvane.test"));
        QCOMPARE(one.value("rcpt").toVariant().toStringList(),
            QStringList({"one@x.test", "cc@x.test", "b1@x.test", "b2@x.test"}));
        // The server takes away the final dot line and undoes dot stuffing, which the client never did.
        QString sent = expectedText;
        sent.chop(1);
        sent.replace(QStringLiteral("\r\n.."), QStringLiteral("\r\n."));
        const QByteArray data = SmtpServer::data(one);
        QCOMPARE(QString::fromUtf8(data), sent);
        QVERIFY(data.startsWith("Date: Sat, 7 Feb 2009 14:03:09 -0300\r\nSubject: News\r\nFrom: Tally Vane "
                                "<shop@tallyvane.test>\r\nTo: To One <one@x.test>\r\nCC: cc@x.test\r\n"));

        QCOMPARE(server.authLog(), QStringLiteral("PLAIN alice"));
    }
};

QTEST_GUILESS_MAIN(TestSmtp)
#include "tst_smtp.moc"
