#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QLocalServer;
class QLockFile;
class QWidget;

// One running copy per data folder. The first start holds a lock file in the folder and listens on a
// local socket named after the folder; a later start finds the lock held, asks the holder to come
// forward and ends, having opened nothing else.
class RunningCopy : public QObject
{
public:
    explicit RunningCopy(QString folder);
    ~RunningCopy() override;

    // True when this process owns the folder now, also after taking over the lock of a copy that died.
    // False when a live copy owns it: that copy has been asked to come forward.
    bool Claim();
    // Runs on the event loop, guarded, each time a later start asks.
    std::function<void()> ComeForward;

    // Restores the window if minimised, raises and activates it, then any modal dialog above it.
    static void BringForward(QWidget* window);
    // One name per folder, so that two homes of one user each have their own.
    static QString ServerName(const QString& folder);

private:
    void askOwner() const;
    void answer();

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer* m_server = nullptr;
};
