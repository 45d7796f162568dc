#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QLocalServer;
class QLockFile;
class QWidget;

// One running copy per data folder. The first start holds a lock file in the folder and listens on a
// local socket in the user's runtime folder, named after the data folder; a later start finds the lock
// held, asks the holder to come forward and ends, having opened nothing else.
class RunningCopy : public QObject
{
public:
    explicit RunningCopy(QString folder);
    ~RunningCopy() override;

    // True when this process owns the folder now, also after taking over the lock of a copy that died.
    // False when a live copy owns it: that copy has been asked to come forward. Needs no application
    // object, so a later start ends before it reaches the display.
    bool Claim();
    // Once the application object exists: each later start's request runs comeForward, guarded.
    void Serve(std::function<void()> comeForward);

    // Restores the window if minimised, raises and activates it, then any modal dialog above it.
    static void BringForward(QWidget* window);
    // One socket per folder, so that two homes of one user each have their own.
    static QString ServerPath(const QString& folder);

private:
    void askOwner() const;
    void answer();

    QString m_folder;
    std::unique_ptr<QLockFile> m_lock;
    QLocalServer* m_server = nullptr;
    std::function<void()> m_comeForward;
};
