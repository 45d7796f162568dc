#include "dialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QHash>
#include <QMessageBox>
#include <QQueue>

namespace {
struct HookState
{
    bool recording = false;
    QStringList messages;
    QHash<QString, QQueue<QVariant>> answers;
};
HookState& state()
{
    static HookState s;
    return s;
}
} // namespace

void DialogHooks::setRecording(bool on)
{
    state().recording = on;
}
bool DialogHooks::recording()
{
    return state().recording;
}
QStringList DialogHooks::takeMessages()
{
    return std::exchange(state().messages, {});
}
void DialogHooks::record(const QString& text)
{
    state().messages.append(text);
}

void DialogHooks::pushAnswer(const QString& dialog, const QVariant& answer)
{
    state().answers[dialog].enqueue(answer);
}

std::optional<QVariant> DialogHooks::takeAnswer(const QString& dialog)
{
    auto it = state().answers.find(dialog);
    if (it == state().answers.end() || it->isEmpty())
        return std::nullopt;
    return it->dequeue();
}

void DialogHooks::clear()
{
    state() = HookState();
}

void MsgBox(const QString& text)
{
    if (state().recording) {
        state().messages.append(text);
        return;
    }
    QMessageBox box(QMessageBox::NoIcon, QApplication::applicationDisplayName(), text, QMessageBox::Ok,
        QApplication::activeWindow());
    box.exec();
}

std::optional<FolderItem> GetSaveFolderItem(const QString& filter, const QString& defaultName)
{
    QString path;
    if (auto answer = DialogHooks::takeAnswer(QStringLiteral("GetSaveFolderItem")))
        path = answer->toString();
    else
        path = QFileDialog::getSaveFileName(QApplication::activeWindow(), QString(),
            SpecialFolder::Documents().Child(defaultName).NativePath(), filter);
    if (path.isEmpty())
        return std::nullopt;
    return FolderItem(path);
}
