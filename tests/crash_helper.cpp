// The program, started for real on the home the caller gives it (HOME and XDG_CONFIG_HOME), doing
// what tst_durability asks and saying on stdout what it has done, one line at a time, so that the
// caller can kill it at any moment and know what must have reached the disk. Modes:
//   work SEED      the lists loaded at start ("C= record", "T= record"), then endless changes to
//                  customers and tasks, each announced ("> C+ name") and reported once its handler
//                  has returned ("C+ record", "C~ old record", "C- name"; T for tasks)
//   fsize          a customer too big for a file-size limit, then one more with the limit lifted
//   readonly       a customer while the data folder is read-only, then one more after
//   backup PATH    the backup to PATH under a file-size limit smaller than the database
//   prefs pause|go quit with a changed subject; "pause" stops halfway through writing the file
#include "canvas.h"
#include "programfixture.h"

#include <QDir>
#include <QRandomGenerator>
#include <csignal>
#include <linux/capability.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

namespace {
void say(const QString& line)
{
    const QByteArray b = line.toUtf8() + '\n';
    if (::write(1, b.constData(), size_t(b.size())) != b.size())
        _exit(3);
}

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
    if (!e) {
        say(QStringLiteral("no editor"));
        _exit(4);
    }
    e->selectAll();
    e->insert(text);
    QTest::keyClick(e, end);
}

void add(bool customer, const QString& name)
{
    Listbox* list = customer ? w->Contatos : w->Projetos;
    w->pagePanel()->setValue(customer ? 0 : 1);
    if (customer)
        w->bt_inserecontato_Action();
    else
        w->bt_insereprojeto_Action();
    const QStringList values = {name, QStringLiteral("S-") + name, QStringLiteral("2.") + name.right(1),
        QStringLiteral("2026-11-23"), QStringLiteral("Ledger"), name + QStringLiteral("@example.test")};
    for (int i = 0; i < 6; ++i)
        type(list, values[i], i < 5 ? Qt::Key_Tab : Qt::Key_Return);
}

void change(bool customer, int row, const QString& name)
{
    Listbox* list = customer ? w->Contatos : w->Projetos;
    w->pagePanel()->setValue(customer ? 0 : 1);
    w->RowClicked = row;
    list->setListIndex(row);
    list->EditCell(row, 1);
    type(list, name, Qt::Key_Return);
}

void remove(bool customer, int row)
{
    Listbox* list = customer ? w->Contatos : w->Projetos;
    list->setListIndex(row);
    if (customer)
        w->ApagaContato();
    else
        w->ApagaProjeto();
}

void work(quint32 seed)
{
    const QString integrity
        = App::Instance()->tvDB->SQLSelect(QStringLiteral("PRAGMA integrity_check"))->IdxField(1).StringValue();
    say(QStringLiteral("integrity ") + integrity);
    for (int r = 0; r < w->Contatos->ListCount(); ++r)
        say(QStringLiteral("C= ") + record(w->Contatos, r));
    for (int r = 0; r < w->Projetos->ListCount(); ++r)
        say(QStringLiteral("T= ") + record(w->Projetos, r));
    say(QStringLiteral("ready"));
    QRandomGenerator rng(seed);
    for (int k = 0;; ++k) {
        const bool customer = rng.bounded(2) == 0;
        Listbox* list = customer ? w->Contatos : w->Projetos;
        const QString kind = customer ? QStringLiteral("C") : QStringLiteral("T");
        const QString name = kind.toLower() + QString::number(seed) + QLatin1Char('-') + QString::number(k);
        const int rows = list->ListCount();
        // 0 adds, 1 changes, 2 deletes; a long list only shrinks or changes.
        const int choice = rows == 0 ? 0 : rows > 12 ? 1 + int(rng.bounded(2)) : int(rng.bounded(3));
        if (choice == 0) {
            say(QStringLiteral("> %1+ %2").arg(kind, name));
            add(customer, name);
            say(QStringLiteral("%1+ %2").arg(kind, record(list, rowOf(list, name))));
        } else {
            const int row = int(rng.bounded(rows));
            const QString old = list->Cell(row, 1);
            if (choice == 1) {
                say(QStringLiteral("> %1~ %2 %3").arg(kind, old, name));
                change(customer, row, name);
                say(QStringLiteral("%1~ %2 %3").arg(kind, old, record(list, rowOf(list, name))));
            } else {
                say(QStringLiteral("> %1- %2").arg(kind, old));
                remove(customer, row);
                say(QStringLiteral("%1- %2").arg(kind, old));
            }
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

void addAndReport(const QString& name)
{
    add(true, name);
    messages();
}
} // namespace

int main(int argc, char** argv)
{
    Application application(argc, argv);
    // A write past the file-size limit fails with an error instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    const QString mode = QString::fromLocal8Bit(argc > 1 ? argv[1] : "");
    const QString arg = QString::fromLocal8Bit(argc > 2 ? argv[2] : "");
    Program program;
    if (!program.start()) {
        messages();
        return 1;
    }
    w = program.window();
    say(QStringLiteral("open"));
    messages();
    const QString folder = QFileInfo(App::DatabaseItem().NativePath()).path();
    if (mode == QLatin1String("work")) {
        work(arg.toUInt());
    } else if (mode == QLatin1String("fsize")) {
        addAndReport(QStringLiteral("before"));
        limitFileSize(rlim_t(QFileInfo(App::DatabaseItem().NativePath()).size()));
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
        limitFileSize(rlim_t(QFileInfo(App::DatabaseItem().NativePath()).size() / 2));
        DialogHooks::pushAnswer(QStringLiteral("GetSaveFolderItem"), arg);
        w->FazBackup();
        limitFileSize(RLIM_INFINITY);
        messages();
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
    program.quit();
    say(QStringLiteral("closed"));
    return 0;
}
