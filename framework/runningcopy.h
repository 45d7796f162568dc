#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QLocalServer;
class QLockFile;
class QWidget;

// One running copy per data folder. The first start holds a lock file in the folder and listens on a
// local socket in the user's runtime folder, named after the data folder; a later start finds the lock
// held, asks the holder to come forward and ends, having opened nothing else. A holder that cannot be
// asked (on another computer, stopped, or not listening) is named to the user, who opens anyway or quits.
class RunningCopy : public QObject
{
public:
    explicit RunningCopy(QString folder);
    ~RunningCopy() override;

    enum class Claimed {
        Owned, // this process owns the folder now, also after taking over the lock of a copy that died
        HandedOver, // a live copy owns it and has answered the request to come forward
        Unreachable, // a holder that does not answer: OpenAnyway asks the user
    };
    // Needs no application object, so a later start ends before it reaches the display.
    Claimed Claim();
    // Once the application object exists, after an Unreachable claim: names the holder to the user and,
    // when they open anyway, takes its lock over. False when they quit.
    bool OpenAnyway();
    // Once the application object exists: each later start's request runs comeForward, guarded.
    void Serve(std::function<void()> comeForward);

    // Restores the window if minimised, raises and activates it, then any modal dialog above it. A window
    // that has not opened yet is left to show itself: meanwhile a start-up message is what comes forward.
    static void BringForward(QWidget* window);
    // One socket per folder, so that two homes of one user each have their own.
    static QString ServerPath(const QString& folder);

private:
    QString lockPath() const;
    bool askOwner(int connectMs) const;
    void answer();

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    qint64 m_holderPid = 0;
    QString m_holderHost;
    QDateTime m_holderSince;
    QLocalServer* m_server = nullptr;
    std::function<void()> m_comeForward;
};
