// The program, started as its entry starts it, on the home the caller gives it (HOME, XDG_CONFIG_HOME), saying on
// stdout what it has done, a line at a time, so that tst_durability can kill it at any moment and know what must be on
// disk, and tst_runningcopy can see what each of two copies shows. Modes: "work SEED" (the rows found at start, then
// endless adds, changes and deletes, each announced with ">" and reported once its handler has returned), "fsize",
// "readonly", "backup PATH", "prefs pause|go", "single" (owns the data folder as the program does, minimised, and says
// when a later start asks it forward), "box" (the same, with the start-up messages shown for real; a later start's
// request closes the one it brings forward), "later BUTTON" (a later start: the question about a holder it cannot
// reach is answered with that button; once open, says who holds the lock). Every message box that shows is reported
// with its texts and buttons.
#include "canvas.h"
#include "programfixture.h"
#include "runningcopy.h"
#include "startprogram.h"

#include <QDir>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTimer>
#include <csignal>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {
Principal* w = nullptr;

QString record(Listbox* list, int row)
{
    QStringList cells;
    for (int c = 1; c <= 6; ++c)
        cells << list->Cell(row, c);
    return cells.join(QLatin1Char('|'));
}

int rowOf(Listbox* list, const QString& name)
{
    for (int r = 0; r < list->ListCount(); ++r) {
        if (list->Cell(r, 1) == name)
            return r;
    }
    return -1;
}

// Types into the open cell and ends it with the key, as the user does.
void type(Listbox* list, const QString& text, Qt::Key end)
{
    QLineEdit* e = Ui::editor(list);
    if (!e)
        _exit(4);
    e->selectAll();
    e->insert(text);
    QTest::keyClick(e, end);
}

Listbox* listOf(bool customer)
{
    w->pagePanel()->setValue(customer ? 0 : 1);
    return customer ? w->Contatos : w->Projetos;
}

void add(bool customer, const QString& name)
{
    Listbox* list = listOf(customer);
    customer ? w->bt_inserecontato_Action() : w->bt_insereprojeto_Action();
    const QStringList values = {name, QStringLiteral("S-") + name, QStringLiteral("2.") + name.right(1),
        QStringLiteral("2026-11-23"), QStringLiteral("Ledger"), name + QStringLiteral("@example.test")};
    for (int i = 0; i < 6; ++i)
        type(list, values[i], i < 5 ? Qt::Key_Tab : Qt::Key_Return);
}

void work(quint32 seed)
{
    const QString integrity = App::Instance()->tvDB->SQLSelect("PRAGMA integrity_check")->IdxField(1).StringValue();
    say(QStringLiteral("integrity ") + integrity);
    for (Listbox* list : {w->Contatos, w->Projetos}) {
        for (int r = 0; r < list->ListCount(); ++r)
            say((list == w->Contatos ? QStringLiteral("C= ") : QStringLiteral("T= ")) + record(list, r));
    }
    say(QStringLiteral("ready"));
    QRandomGenerator rng(seed);
    for (int k = 0;; ++k) {
        const bool customer = rng.bounded(2) == 0;
        Listbox* list = listOf(customer);
        const QString kind = customer ? QStringLiteral("C") : QStringLiteral("T");
        const QString name = kind.toLower() + QString::number(seed) + QLatin1Char('-') + QString::number(k);
        const int rows = list->ListCount(), row = rows ? int(rng.bounded(rows)) : -1;
        const QString old = rows ? list->Cell(row, 1) : QString();
        // Add, change or delete; a long list only changes or shrinks.
        const int choice = rows == 0 ? 0 : rows > 12 ? 1 + int(rng.bounded(2)) : int(rng.bounded(3));
        if (choice == 0) {
            say(QStringLiteral("> %1+ %2").arg(kind, name));
            add(customer, name);
            say(QStringLiteral("%1+ %2").arg(kind, record(list, rowOf(list, name))));
        } else if (choice == 1) {
            say(QStringLiteral("> %1~ %2 %3").arg(kind, old, name));
            w->RowClicked = row;
            list->setListIndex(row);
            list->EditCell(row, 1);
            type(list, name, Qt::Key_Return);
            say(QStringLiteral("%1~ %2 %3").arg(kind, old, record(list, rowOf(list, name))));
        } else {
            say(QStringLiteral("> %1- %2").arg(kind, old));
            list->setListIndex(row);
            customer ? w->ApagaContato() : w->ApagaProjeto();
            say(QStringLiteral("%1- %2").arg(kind, old));
        }
    }
}

void messages()
{
    say(QStringLiteral("messages ") + DialogHooks::takeMessages().join(QLatin1Char('|')));
}

void limitFileSize(rlim_t bytes)
{
    rlimit r{};
    getrlimit(RLIMIT_FSIZE, &r);
    r.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &r);
}

// Root writes into read-only folders; without this capability it is refused like anyone else.
void dropFileOverride()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    syscall(SYS_capget, &header, data);
    data[0].effective &= ~(1u << CAP_DAC_OVERRIDE);
    syscall(SYS_capset, &header, data);
}

QString oneLine(QString text)
{
    return text.replace(QLatin1Char('\n'), QStringLiteral("\\n"));
}

// Each message box as the user sees it: "dialog TEXT|DETAILS|BUTTONS"; the button named `answer` is clicked.
void watchMessageBoxes(const QString& answer)
{
    auto* poll = new QTimer(qApp);
    QObject::connect(poll, &QTimer::timeout, [answer] {
        static QPointer<QMessageBox> seen;
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || box == seen)
            return;
        seen = box;
        QStringList buttons;
        for (QAbstractButton* b : box->buttons())
            buttons << b->text();
        say(QStringLiteral("dialog %1|%2|%3")
                .arg(oneLine(box->text()), oneLine(box->informativeText()), buttons.join(QLatin1Char(','))));
        for (QAbstractButton* b : box->buttons()) {
            if (b->text() == answer)
                QTimer::singleShot(0, b, &QAbstractButton::click);
        }
    });
    poll->start(20);
}

// What a later start's request leaves in front: the active window, and whether the main window shows.
void sayForward()
{
    [[maybe_unused]] const bool active = QTest::qWaitFor(
        [] { return QApplication::activeWindow() && !QApplication::activeWindow()->isMinimized(); }, 1000);
    QWidget* front = QApplication::activeWindow();
    const auto* box = qobject_cast<QMessageBox*>(front);
    const QWidget* main = Principal::Live();
    say(QStringLiteral("forward %1, main window %2")
            .arg(box        ? QStringLiteral("message ") + oneLine(box->text())
                    : front ? front->objectName()
                            : "nothing",
                main && main->isVisible() ? QStringLiteral("shown") : QStringLiteral("hidden")));
}

void addAndReport(const QString& name)
{
    add(true, name);
    messages();
}

// The scripted run of a mode, once the window has opened.
void runMode(const QString& mode, const QString& arg)
{
    const QString folder = QFileInfo(App::DatabaseItem()->NativePath()).path();
    if (mode == QLatin1String("work")) {
        work(arg.toUInt());
    } else if (mode == QLatin1String("fsize")) {
        addAndReport(QStringLiteral("before"));
        limitFileSize(rlim_t(QFileInfo(App::DatabaseItem()->NativePath()).size()));
        addAndReport(QString(20000, QLatin1Char('x')));
        limitFileSize(RLIM_INFINITY);
        addAndReport(QStringLiteral("after"));
    } else if (mode == QLatin1String("readonly")) {
        dropFileOverride();
        addAndReport(QStringLiteral("before"));
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther);
        addAndReport(QStringLiteral("refused"));
        QFile::setPermissions(folder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        addAndReport(QStringLiteral("after"));
    } else if (mode == QLatin1String("backup")) {
        limitFileSize(rlim_t(QFileInfo(App::DatabaseItem()->NativePath()).size() / 2));
        DialogHooks::pushAnswer(Dialog::SaveFolderItem, arg);
        w->FazBackup();
        limitFileSize(RLIM_INFINITY);
        messages();
    } else if (mode == QLatin1String("later")) {
        QFile lock(folder + QStringLiteral("/.tallyvane.lock"));
        lock.open(QIODevice::ReadOnly);
        const QList<QByteArray> lines = lock.readAll().split('\n');
        say(QStringLiteral("lock %1 %2").arg(QString::fromUtf8(lines.value(0)), QString::fromUtf8(lines.value(2))));
    } else if (mode == QLatin1String("single")) {
        // Waits in the event loop for a later start's request.
        w->showMinimized();
        say(QStringLiteral("waiting"));
        return;
    } else if (mode == QLatin1String("prefs")) {
        App::Instance()->MailAssunto = QStringLiteral("changed");
        if (arg == QLatin1String("pause")) {
            App::setPrefsWriteHook([] {
                say(QStringLiteral("writing"));
                for (;;)
                    std::this_thread::sleep_for(std::chrono::seconds(1));
            });
        }
    }
    // Closed the way the user does, which runs the shutdown and ends the event loop. The window goes at
    // once, as in the tests' own runs, so that no focus change of its closing reaches a cell left open.
    w->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}
} // namespace

int main(int argc, char** argv)
{
    // A write past the file-size limit fails with an error instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    const QString mode = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    const QString arg = QString::fromLocal8Bit(argc > 2 ? argv[2] : "");
    const bool box = mode == QLatin1String("box");
    StartOptions options;
    options.claim = mode == QLatin1String("single") || box || mode == QLatin1String("later");
    // The copies meet a read-only runtime folder as any user does.
    if (options.claim)
        dropFileOverride();
    options.laterStartStatus = 5;
    options.configure = [box, &mode, &arg] {
        DialogHooks::setRecording(!box);
        DialogHooks::showReal(Dialog::OpenAnyway);
        watchMessageBoxes(mode == QLatin1String("later") ? arg : QString());
    };
    options.comeForward = [box] {
        RunningCopy::BringForward(Principal::Live());
        sayForward();
        if (auto* modal = qobject_cast<QMessageBox*>(QApplication::activeModalWidget()); modal && box)
            QTimer::singleShot(0, modal, &QDialog::accept);
    };
    options.started = [&mode, &arg](bool opened) {
        if (!opened) {
            messages();
            QCoreApplication::exit(1);
            return;
        }
        w = Principal::Live();
        say(QStringLiteral("open"));
        messages();
        runMode(mode, arg);
    };
    const int status = StartProgram(argc, argv, options);
    if (status != 0)
        return status;
    say(QStringLiteral("closed"));
    return 0;
}
