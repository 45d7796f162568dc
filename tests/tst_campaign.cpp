#include "appcommands.h"
#include "canvas.h"
#include "programfixture.h"
#include "progresswheel.h"
#include "smtpserver.h"
#include "smtpsocket1.h"
#include "wmailsenha.h"
#include "wmensagem1.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTemporaryFile>
#include <QTimer>
#include <QToolButton>
#include <unistd.h>

namespace {
const QString kFrom = QStringLiteral("shop@tallyvane.test");
const QString kPassword = QStringLiteral("s3cret \u00e9"); // the one the test server accepts

// One campaign: what the user has set and answers, and what comes of it. Stage: "stopped" before
// the socket is set up, "set up" with nothing queued, "waits" with the window up, "done" at MailSent.
struct Case
{
    QString App::*blank = nullptr; // the preference left empty
    QVariantList answers{true, kPassword}; // confirmation, then password (invalid: Escape)
    QStringList emails{QStringLiteral("ann@x.test")}; // customers in list order
    QList<int> selected{0}; // in click order
    QString text = QStringLiteral("Hello");
    QString subject = QStringLiteral("News");
    QString entity = QStringLiteral("Hello"); // the text as both parts carry it
    QStringList rcpt{QStringLiteral("<ann@x.test>")}; // the RCPT TO addresses, in order
    QStringList shown{}; // message boxes
    QByteArray stage = "done";
};

// Runs f, and gives what the process printed meanwhile, the test log included; passes it on too.
QByteArray printedBy(const std::function<void()>& f)
{
    QTemporaryFile file;
    if (!file.open())
        return "no capture";
    std::fflush(nullptr);
    const int out = dup(1), err = dup(2);
    dup2(file.handle(), 1);
    dup2(file.handle(), 2);
    f();
    std::fflush(nullptr);
    dup2(out, 1);
    dup2(err, 2);
    ::close(out);
    ::close(err);
    file.seek(0);
    const QByteArray text = file.readAll();
    std::fwrite(text.constData(), 1, size_t(text.size()), stdout);
    return text;
}

// Runs the action once the window shows, from inside its modal loop.
void whenShown(QWidget* window, std::function<void()> action)
{
    QTimer::singleShot(10, window, [=] { window->isVisible() ? action() : whenShown(window, action); });
}
} // namespace
Q_DECLARE_METATYPE(Case)

// The E-Mail command on the real main window and database file, delivering to a real aiosmtpd.
class TestCampaign : public ProgramTest
{
    Q_OBJECT

    std::unique_ptr<SmtpServer> m_server;
    quint16 m_port = 0;

    App* app() const { return m_program->app(); }
    wMensagem1* progress() const { return wMensagem1::Instance(); }

    // Customers C00, C01... with these addresses, so that the list shows them in this order.
    void customers(const QStringList& emails)
    {
        for (int i = 0; i < emails.size(); ++i)
            Sql(m_home->database())
                .exec(QStringLiteral("INSERT INTO Contatos (Nome, Email) VALUES ('C%1', CAST(X'%2' AS TEXT))")
                          .arg(i, 2, 10, QLatin1Char('0'))
                          .arg(QString::fromLatin1(emails[i].toUtf8().toHex())));
        w->CarregaContatos();
        QCoreApplication::processEvents(); // the view takes in the rows
    }
    void select(const QList<int>& rows)
    {
        for (int i = 0; i < rows.size(); ++i)
            Ui::click(w->Contatos, rows[i], 1, i ? Qt::ControlModifier : Qt::NoModifier);
    }
    // The E-Mail command through its menu shortcut or its toolbar button, from the other page.
    void press(bool toolbar, const QVariantList& answers = {true, kPassword})
    {
        if (!answers.isEmpty())
            DialogHooks::pushAnswer(Dialog::Confirma, answers[0]);
        if (answers.size() > 1)
            DialogHooks::pushAnswer(Dialog::MailSenha, answers[1]);
        w->pagePanel()->setValue(1);
        w->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(w));
        if (toolbar)
            QTest::mouseClick(w->findChild<QToolButton*>(QStringLiteral("tb_mail")), Qt::LeftButton);
        else
            QTest::keyClick(w, Qt::Key_M, Qt::ControlModifier);
        QCOMPARE(w->pagePanel()->Value(), 0);
    }
    // Waits until done, or until the server has received nothing new for a few seconds: a conversation
    // that stops short fails the test then, not at the suite's time limit.
    bool until(const std::function<bool()>& done) const
    {
        QByteArray seen = m_server->wire();
        QElapsedTimer quiet;
        quiet.start();
        return QTest::qWaitFor(
                   [&] {
                       if (m_server->wire() != seen) {
                           seen = m_server->wire();
                           quiet.restart();
                       }
                       return done() || quiet.elapsed() > 4000;
                   },
                   60000)
            && done();
    }
    // MailSent hides the progress window that Mailing showed.
    bool sent() const
    {
        return until([this] { return !progress()->isVisible(); });
    }
    // What the client sent before DATA, line by line.
    QStringList commands() const
    {
        const QStringList lines = QString::fromUtf8(m_server->wire()).split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        return lines.mid(0, lines.indexOf(QStringLiteral("DATA")));
    }

private slots:
    void init()
    {
        startProgram([] {
            ApplicationAddMenuHandlers();
            MakeDefaultView();
        });
        m_server = std::make_unique<SmtpServer>();
        m_port = m_server->start(QStringLiteral("login"), kFrom);
        QVERIFY(m_port > 0);
        TCPSocket::redirectPort25(m_port);
        app()->MailServidor = QStringLiteral("127.0.0.1");
        app()->Mailmail = kFrom;
        app()->MailNome = QStringLiteral("Tally Vane");
        app()->MailMensagem = QStringLiteral("Hello");
    }
    void cleanup()
    {
        TCPSocket::redirectPort25(0);
        m_program.reset();
        m_server.reset();
        // Both windows outlive the main one; the next test starts without them.
        endProgram();
        delete wMailSenha::Instance();
        delete progress();
    }

    void campaign_data()
    {
        QTest::addColumn<Case>("c");
        const QString prefs = QStringLiteral("Please use preference panel to complete your e-mail preferences.");
        const std::pair<const char*, QString App::*> fields[] = {{"no server", &App::MailServidor},
            {"no sender", &App::Mailmail}, {"no name, never used", &App::MailNome}, {"no text", &App::MailMensagem}};
        for (const auto& [name, field] : fields)
            QTest::newRow(name) << Case{.blank = field, .answers = {}, .shown = {prefs}, .stage = "stopped"};
        QTest::newRow("confirmation refused") << Case{.answers = {false}, .stage = "stopped"};
        QTest::newRow("empty password") << Case{.answers = {true, QString()}, .stage = "stopped"};
        QTest::newRow("nothing selected, asked last")
            << Case{.selected = {}, .shown = {"Please select one client"}, .stage = "set up"};
        QTest::newRow("rows 5 then 2 go out as 2 then 5")
            << Case{.emails = {"a0@x", "a1@x", "a2@x", "a3@x", "a4@x", "a5@x"},
                   .selected = {5, 2},
                   .rcpt = {"<a2@x>", "<a5@x>"}};
        QTest::newRow("comma in an address") << Case{.emails = {"ann,e@x"}, .rcpt = {"<anne@x>"}};
        QTest::newRow("empty address after a real one")
            << Case{.emails = {"ann@x.test", ""}, .selected = {0, 1}, .rcpt = {"<ann@x.test>", "<>"}};
        QTest::newRow("empty address before a real one") << Case{.emails = {"", "ann@x.test"}, .selected = {0, 1}};
        QTest::newRow("only empty addresses")
            << Case{.emails = {"", " "}, .selected = {1, 0}, .rcpt = {}, .stage = "waits"};
        QTest::newRow("accents") << Case{
            .text = QStringLiteral("\u00e1\u00e9\u00ed\u00f3\u00fa\u00c1\u00c9\u00cd\u00d3"
                                   "\u00da\u00e0\u00e7\u00c0\u00c7\u00e3\u00c3\u00f5\u00d5 \u00ea &aacute; ="),
            .entity
            = QStringLiteral("&aacute;&eacute;&iacute;&oacute;&uacute;&Aacute;&Eacute;&Iacute;&Oacute;&Uacute;"
                             "&agrave;&ccedil;&Agrave;&Ccedil;&atilde;&Atilde;&otilde;&Otilde; \u00ea &aacute; =")};
        QTest::newRow("CR line ends") << Case{.text = "one\rtwo\r", .entity = "one\r\ntwo\r\n"};
        QTest::newRow("empty subject") << Case{.subject = ""};
        QTest::newRow("a single dot ends the data") << Case{.text = "a\r\n.\r\nb", .entity = "a\r\n.\r\nb"};
        QTest::newRow("550 at a RCPT drops the message")
            << Case{.emails = {"ann@x.test", "bob@refused.test", "cy@x.test"},
                   .selected = {0, 1, 2},
                   .rcpt = {"<ann@x.test>", "<bob@refused.test>"},
                   .shown = {"Mail Error - 550 5.1.1 no such user\r\n"}};
    }
    // Every line the server received but the date and the boundary is compared byte for byte with
    // the message the campaign composes; the envelope holds the recipients in list order.
    void campaign()
    {
        QFETCH(Case, c);
        customers(c.emails);
        select(c.selected);
        const QString stored = Sql(m_home->database()).query(QStringLiteral("SELECT * FROM Contatos"));
        app()->MailMensagem = c.text;
        app()->MailAssunto = c.subject;
        if (c.blank)
            (app()->*c.blank).clear();
        press(false, c.answers);
        const bool queued = c.stage == "waits" || c.stage == "done";
        QCOMPARE(w->SMTPSocket1->Password, c.stage == "stopped" ? QString() : kPassword);
        QCOMPARE(w->SMTPSocket1->Messages.size(), queued ? 1 : 0);
        QCOMPARE(progress()->isVisible() && progress()->ProgressWheel1->isVisible(), queued);
        if (!queued) {
            QCOMPARE(DialogHooks::takeMessages(), c.shown);
            return;
        }
        QStringList expected = {"EHLO [127.0.0.1]", "auth login", kFrom.toUtf8().toBase64(),
            kPassword.toUtf8().toBase64(), "MAIL FROM: <" + kFrom + ">"};
        for (const QString& r : c.rcpt)
            expected << "RCPT TO: " + r;
        if (!c.shown.isEmpty())
            expected += QStringList{"RSET", "QUIT"};
        until([&] { return commands() == expected; });
        QCOMPARE(commands(), expected);
        if (c.stage == "waits") {
            QTest::qWait(300); // nothing more happens, and the window stays
            QCOMPARE(commands(), expected);
            QVERIFY(progress()->isVisible());
            return;
        }
        QVERIFY(sent());
        QCOMPARE(DialogHooks::takeMessages(), c.shown);
        QCOMPARE(Sql(m_home->database()).query(QStringLiteral("SELECT * FROM Contatos")), stored);
        QCOMPARE(m_server->hasMessage(1), c.shown.isEmpty());
        if (!c.shown.isEmpty())
            return;

        const QJsonObject message = m_server->message(1);
        QCOMPARE(message.value("from").toString(), kFrom);
        QStringList envelope; // aiosmtpd keeps an empty address as <>
        for (const QString& r : c.rcpt)
            envelope << (r == QLatin1String("<>") ? r : r.mid(1, r.size() - 2));
        QCOMPARE(message.value("rcpt").toVariant().toStringList(), envelope);
        const QString data = QString::fromUtf8(SmtpServer::data(message));
        const auto m = QRegularExpression(
            QStringLiteral("^Date: ((Sun|Mon|Tue|Wed|Thu|Fri|Sat), \\d{1,2} [A-Z][a-z]{2} "
                           "\\d{4} \\d\\d:\\d\\d:\\d\\d [+-]\\d{4})\r\n.*boundary=\"([a-z0-9]{12})\""),
            QRegularExpression::DotMatchesEverythingOption)
                           .match(data);
        QVERIFY(m.hasMatch());
        const QString text
            = QStringLiteral("Date: %1\r\nSubject: %2\r\nFrom: shop@tallyvane.test\r\nMime-Version: 1.0\r\n"
                             "Content-transfer-encoding: quoted-printable\r\n"
                             "Content-Type: multipart/alternative; boundary=\"%3\"\r\n\r\n"
                             "--%3\r\nContent-type: text/plain;\r\n\r\n%4\r\n\r\n"
                             "--%3\r\nContent-type: text/html;\r\n\r\n<html><head><meta http-equiv=\"Content-Type "
                             "content=text/html\"; charset=\"ISO-8859-1\"></head><body>%4</body></html>\r\n\r\n"
                             "--%3--\r\n")
                  .arg(m.captured(1), c.subject, m.captured(3), c.entity);
        // The server ends the data at the first line holding a single dot, and takes away the dot line.
        const qsizetype dot = text.indexOf(QStringLiteral("\r\n.\r\n"));
        QCOMPARE(data, dot < 0 ? text : text.left(dot + 2));
    }

    // A wrong password is refused and kept; at the next prompt the field still holds it, masked, and
    // the user types the right one. Escape after editing the field sends with the earlier password, and
    // Ok on an emptied field ends the campaign. No password reaches a file of the home folder or
    // anything the process printed.
    void passwordAcrossCampaigns()
    {
        const QString wrong = QStringLiteral("n0t-it \u00e7");
        struct Step
        {
            bool clear;
            QString typed;
            Qt::Key key; // Return presses Ok, the default button
        };
        const Step steps[] = {{true, wrong, Qt::Key_Return}, {true, kPassword, Qt::Key_Return},
            {false, QStringLiteral("zz"), Qt::Key_Escape}, {true, QString(), Qt::Key_Return}};
        QString seen;
        const QByteArray printed = printedBy([&] {
            customers({QStringLiteral("ann@x.test")});
            select({0});
            wMailSenha* prompt = wMailSenha::Instance();
            for (const Step& step : steps) {
                whenShown(prompt, [&, prompt] {
                    seen += prompt->eSenha->echoMode() == QLineEdit::Password ? prompt->eSenha->text() + "|" : "?";
                    if (step.clear)
                        prompt->eSenha->clear();
                    if (!step.typed.isEmpty())
                        QTest::sendKeyEvent(QTest::Click, prompt->eSenha, Qt::Key_unknown, step.typed, Qt::NoModifier);
                    QTest::keyClick(prompt->eSenha, step.key);
                });
                DialogHooks::showReal(Dialog::MailSenha);
                press(step.key == Qt::Key_Escape, {true});
                if (step.typed.isEmpty())
                    QVERIFY(!progress()->isVisible() && w->SMTPSocket1->Messages.isEmpty());
                else
                    QVERIFY(sent());
            }
            QCOMPARE(app()->MailSenha, QString());
            QCOMPARE(wMailSenha::Instance(), prompt); // hidden, never closed
            m_program->quit();
            std::printf("printed while the program ran\n");
        });
        QCOMPARE(seen, "|" + wrong + "|" + kPassword + "|zz|"); // what is typed replaces the selected field
        QCOMPARE(DialogHooks::takeMessages(),
            QStringList({"Mail Error - 535 5.7.8 Authentication credentials invalid\r\n"}));
        QVERIFY(m_server->hasMessage(2) && !m_server->hasMessage(3));
        QVERIFY(printed.contains("printed while the program ran"));
        QByteArray files;
        for (QDirIterator it(m_home->path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories); it.hasNext();)
            files += TestHome::read(it.next());
        QVERIFY(files.contains("ann@x.test") && files.contains("\nTally Vane\n")); // the database and the preferences
        for (const QString& password : {wrong, kPassword}) {
            for (const QByteArray& form : {password.toUtf8(), password.toLatin1(), password.toUtf8().toBase64()})
                QVERIFY2(!printed.contains(form) && !files.contains(form), form.constData());
        }
    }

    // Connections that fail go unreported: the window stays, the message stays queued, a later
    // campaign queues behind it, and a server that is there again receives both.
    void serverThatIsNotThere()
    {
        customers({QStringLiteral("ann@x.test")});
        select({0});
        {
            QTcpServer probe;
            QVERIFY(probe.listen(QHostAddress::LocalHost));
            TCPSocket::redirectPort25(probe.serverPort());
        }
        app()->MailMensagem = QStringLiteral("First");
        press(false);
        QTest::qWait(500);
        QVERIFY(progress()->isVisible());
        progress()->close(); // the way back to the main window
        TCPSocket::redirectPort25(m_port);
        app()->MailMensagem = QStringLiteral("Second");
        press(true, {true, QVariant()});
        QCOMPARE(w->SMTPSocket1->Messages.size(), 2);
        QVERIFY(sent());
        QVERIFY(SmtpServer::data(m_server->message(1)).contains("<body>First</body>"));
        QVERIFY(SmtpServer::data(m_server->message(2)).contains("<body>Second</body>"));
    }
};

QTEST_MAIN(TestCampaign)
#include "tst_campaign.moc"
