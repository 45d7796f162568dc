#include "runningcopy.h"

#include "application.h"
#include "dialogs.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>
#include <QSysInfo>
#include <QThread>
#include <QWidget>

namespace {
const QByteArray kRequest = QByteArrayLiteral("forward\n");
const QByteArray kReply = QByteArrayLiteral("ok\n");
// The owner listens a moment after it takes the lock: a later start looks for its socket this long.
constexpr int kConnectMs = 800;
// An owner busy with a long step (a large list loading) answers late; one stopped or hung never does.
constexpr int kAnswerMs = 3000;

void restore(QWidget* window)
{
    window->setWindowState((window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window->show();
    window->raise();
    window->activateWindow();
}
} // namespace

RunningCopy::RunningCopy(QString folder)
    : m_folder(std::move(folder))
{
}

RunningCopy::~RunningCopy() = default;

QString RunningCopy::ServerPath(const QString& folder)
{
    const QByteArray key = QFile::encodeName(QDir(folder).absolutePath());
    const QString name = QStringLiteral("tallyvane-")
        + QString::fromLatin1(QCryptographicHash::hash(key, QCryptographicHash::Sha256).toHex().left(24));
    // Without a runtime folder Qt places a bare name in the temporary folder.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    return runtime.isEmpty() ? name : runtime + QLatin1Char('/') + name;
}

QString RunningCopy::lockPath() const
{
    return m_folder + QStringLiteral("/.tallyvane.lock");
}

RunningCopy::Claimed RunningCopy::Claim()
{
    if (m_folder.isEmpty())
        return Claimed::Owned;
    QDir().mkpath(m_folder);
    const QString path = lockPath();
    m_lock = std::make_unique<QLockFile>(path);
    // Held for the whole run: only a holder that is gone makes the lock stale, never its age.
    m_lock->setStaleLockTime(0);
    // The second try covers a holder that quits between the first one and the reading of its lock.
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (m_lock->tryLock(0))
            return Claimed::Owned;
        if (m_lock->error() != QLockFile::LockFailedError) {
            // A folder that takes no lock file has nothing to share: the start goes on, and its own steps
            // meet the same fault.
            m_lock.reset();
            return Claimed::Owned;
        }
        QString app;
        if (m_lock->getLockInfo(&m_holderPid, &m_holderHost, &app)) {
            m_holderSince = QFileInfo(path).lastModified();
            break;
        }
    }
    // A copy on another computer has no socket here: one look is enough.
    return askOwner(m_holderHost == QSysInfo::machineHostName() ? kConnectMs : 0) ? Claimed::HandedOver
                                                                                  : Claimed::Unreachable;
}

bool RunningCopy::OpenAnyway()
{
    const bool here = m_holderHost == QSysInfo::machineHostName();
    const QString text = here
        ? QStringLiteral("Tallyvane is already running here, but it does not answer.")
        : QStringLiteral("Tallyvane is open on the computer \"%1\", or was not closed there.").arg(m_holderHost);
    const QString details
        = QStringLiteral("The data folder \"%1\" has been in use by process %2 on \"%3\" since %4.\n\n%5 Open "
                         "Tallyvane here anyway only if that copy is no longer running: two copies changing the "
                         "same database lose each other's changes.")
              .arg(QDir::toNativeSeparators(m_folder), QString::number(m_holderPid), m_holderHost,
                  m_holderSince.toString(QStringLiteral("yyyy-MM-dd HH:mm")),
                  here ? QStringLiteral("That copy may be busy, stopped, or unable to take requests.")
                       : QStringLiteral("This computer cannot ask that copy to come forward."));
    if (!AskOpenAnyway(text, details))
        return false;
    // The holder cannot be asked, so its lock is taken as it stands. Deliberate: the file is removed
    // outright, since QLockFile::removeStaleLockFile refuses a holder on this computer that still lives, a
    // stopped one included, and the user has chosen. A lock that cannot be taken leaves the start as a
    // folder without a lock file does.
    QFile::remove(lockPath());
    if (!m_lock->tryLock(0))
        m_lock.reset();
    return true;
}

void RunningCopy::Serve(std::function<void()> comeForward)
{
    m_comeForward = std::move(comeForward);
    if (!m_lock || m_server)
        return;
    // The application owns the server: it goes, with its socket file, before the application does.
    m_server = new QLocalServer(QCoreApplication::instance());
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    // The lock is ours, so a socket file left by a copy that died is stale too.
    QLocalServer::removeServer(ServerPath(m_folder));
    m_server->listen(ServerPath(m_folder));
    connect(m_server, &QLocalServer::newConnection, this, &RunningCopy::answer);
}

// The owner may hold the lock a moment before it listens: the request is tried until it is answered.
// The answer tells that the request arrived; the owner comes forward on its own time.
bool RunningCopy::askOwner(int connectMs) const
{
    const QDeadlineTimer connectBy(connectMs);
    for (;;) {
        QLocalSocket socket;
        socket.connectToServer(ServerPath(m_folder));
        if (socket.waitForConnected(int(connectBy.remainingTime()))) {
            const QDeadlineTimer answerBy(kAnswerMs);
            socket.write(kRequest);
            socket.waitForBytesWritten(int(answerBy.remainingTime()));
            while (!socket.canReadLine() && socket.waitForReadyRead(int(answerBy.remainingTime()))) { }
            return socket.canReadLine() && socket.readLine() == kReply;
        }
        if (connectBy.hasExpired())
            return false;
        QThread::msleep(20);
    }
}

void RunningCopy::answer()
{
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            const bool request = socket->readLine() == kRequest;
            socket->write(kReply);
            socket->disconnectFromServer();
            if (request && m_comeForward)
                RunGuarded(m_comeForward);
        });
    }
}

void RunningCopy::BringForward(QWidget* window)
{
    if (window && window->isVisible())
        restore(window);
    if (QWidget* modal = QApplication::activeModalWidget())
        restore(modal);
}
