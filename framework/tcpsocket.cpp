#include "tcpsocket.h"

#include "exceptions.h"

#include <QTcpSocket>

namespace {
quint16 g_port25 = 0;

// Events come from the event loop: what they throw goes to the last-resort handler here, rather
// than through the toolkit's own frames.
template <typename F> void guarded(F f)
{
    try {
        f();
    } catch (const std::exception& e) {
        ReportUnhandledException(e);
    }
}
} // namespace

TCPSocket::TCPSocket()
    : m_socket(new QTcpSocket(this))
{
    connect(m_socket, &QTcpSocket::connected, this, [this] { guarded([this] { Connected(); }); });
    connect(m_socket, &QTcpSocket::readyRead, this, &TCPSocket::received);
    connect(m_socket, &QTcpSocket::errorOccurred, this, [this](QAbstractSocket::SocketError code) {
        if (Error)
            guarded([this, code] { Error(int(code)); });
    });
}

TCPSocket::~TCPSocket() = default;

void TCPSocket::redirectPort25(quint16 port)
{
    g_port25 = port;
}

QString TCPSocket::LocalAddress() const
{
    return m_socket->localAddress().toString();
}

void TCPSocket::setStandIn(std::function<void(const QByteArray&)> sink)
{
    m_standIn = std::move(sink);
}

void TCPSocket::Connect()
{
    m_buffer.clear();
    if (m_standIn) {
        guarded([this] { Connected(); });
        return;
    }
    if (m_socket->state() != QAbstractSocket::UnconnectedState)
        m_socket->abort();
    const quint16 port = (Port == 25 && g_port25) ? g_port25 : quint16(Port);
    // Unbuffered: a write goes straight to the kernel, and a read takes what the kernel holds, with
    // no toggling of the socket's notifiers in between. Every reply of a conversation pays for those.
    m_socket->connectToHost(Address, port, QIODevice::ReadWrite | QIODevice::Unbuffered);
}

void TCPSocket::Close()
{
    m_socket->abort();
}

bool TCPSocket::IsConnected() const
{
    return m_socket->state() == QAbstractSocket::ConnectedState;
}

// What the kernel takes goes out now; the rest stays queued in the socket.
void TCPSocket::Write(const QByteArray& data)
{
    if (m_standIn) {
        m_standIn(data);
        return;
    }
    m_socket->write(data);
    m_socket->flush();
}

void TCPSocket::Write(const QString& text)
{
    Write(text.toUtf8());
}

QString TCPSocket::Lookahead() const
{
    return QString::fromLatin1(m_buffer);
}

QString TCPSocket::ReadAll()
{
    const QString text = QString::fromLatin1(m_buffer);
    m_buffer.clear();
    return text;
}

// One read per notification: what is left makes the socket readable again at once. Unbuffered, a
// closed or failed connection shows only here, as a failed read, and Qt reports it to nobody.
void TCPSocket::received()
{
    char chunk[64 * 1024];
    const qint64 n = m_socket->read(chunk, sizeof chunk);
    if (n < 0) {
        if (Error)
            guarded([this] { Error(int(m_socket->error())); });
        return;
    }
    receive(QByteArray(chunk, int(n)));
}

void TCPSocket::receive(const QByteArray& bytes)
{
    m_buffer += bytes;
    guarded([this] { DataAvailable(); });
}
