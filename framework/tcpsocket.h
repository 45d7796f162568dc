#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>
#include <functional>

class QTcpSocket;

// A client TCP connection driven by the event loop. Received bytes wait in a buffer until read;
// they are seen as text one character per byte.
class TCPSocket : public QObject
{
    Q_OBJECT

public:
    TCPSocket();
    ~TCPSocket() override;

    QString Address;
    int Port = 0;
    // Raised with the socket's error code, also when the peer closes the connection.
    std::function<void(int code)> Error;

    QString LocalAddress() const;
    void Connect();
    void Close();
    bool IsConnected() const;
    // Sends all the bytes, queueing what can't go at once; text goes as UTF-8.
    void Write(const QByteArray& data);
    void Write(const QString& text);
    QString Lookahead() const;
    QString ReadAll();
    qsizetype BytesAvailable() const { return m_buffer.size(); }
    bool LookaheadEndsWith(const QByteArray& tail) const { return m_buffer.endsWith(tail); }

    // For tests only: a connection to port 25 goes to this port instead (0: no redirection).
    // Deliberate: no setting or variable reaches it.
    static void redirectPort25(quint16 port);
    // For fuzzing: the caller plays the server. Connect reports the connection at once, what is
    // written goes to the sink, and receive hands in bytes as if they had arrived.
    void setStandIn(std::function<void(const QByteArray& written)> sink);
    void receive(const QByteArray& bytes);

protected:
    virtual void Connected() { }
    virtual void DataAvailable() { }

private:
    void received();
    QTcpSocket* m_socket;
    QByteArray m_buffer;
    std::function<void(const QByteArray&)> m_standIn;
};
