#include "runningcopy.h"

#include "application.h"

#include <QApplication>
#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLockFile>
#include <QStandardPaths>
#include <QThread>
#include <QWidget>

namespace {
const QByteArray kRequest = QByteArrayLiteral("forward\n");
const QByteArray kReply = QByteArrayLiteral("ok\n");
// A second start gives up on an owner that does not answer within this time, and ends all the same.
constexpr int kPatienceMs = 800;
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

bool RunningCopy::Claim()
{
    if (m_folder.isEmpty())
        return true;
    QDir().mkpath(m_folder);
    m_lock = std::make_unique<QLockFile>(m_folder + QStringLiteral("/.tallyvane.lock"));
    // Held for the whole run: only a holder that is gone makes the lock stale, never its age.
    m_lock->setStaleLockTime(0);
    if (!m_lock->tryLock(0)) {
        if (m_lock->error() == QLockFile::LockFailedError) {
            askOwner();
            return false;
        }
        // A folder that takes no lock file has nothing to share: the start goes on, and its own steps
        // meet the same fault.
        m_lock.reset();
    }
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
void RunningCopy::askOwner() const
{
    const QDeadlineTimer deadline(kPatienceMs);
    while (!deadline.hasExpired()) {
        QLocalSocket socket;
        socket.connectToServer(ServerPath(m_folder));
        if (socket.waitForConnected(int(deadline.remainingTime()))) {
            socket.write(kRequest);
            socket.waitForBytesWritten(int(deadline.remainingTime()));
            // The answer tells that the request arrived; the owner comes forward on its own time.
            socket.waitForReadyRead(int(deadline.remainingTime()));
            return;
        }
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
    if (!window)
        return;
    window->setWindowState((window->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window->show();
    window->raise();
    window->activateWindow();
    if (QWidget* modal = QApplication::activeModalWidget()) {
        modal->raise();
        modal->activateWindow();
    }
}
