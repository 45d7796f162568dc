#include "dialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QHash>
#include <QMessageBox>
#include <QPushButton>
#include <QQueue>

namespace {
struct HookState
{
    bool recording = false;
    QStringList messages;
    QHash<Dialog, QQueue<std::optional<QVariant>>> answers;
    std::function<void(const QString&)> unanswered;
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

QString dialogName(Dialog dialog)
{
    switch (dialog) {
    case Dialog::Confirma:
        return QStringLiteral("confirma");
    case Dialog::SelectColor:
        return QStringLiteral("SelectColor");
    case Dialog::SaveFolderItem:
        return QStringLiteral("GetSaveFolderItem");
    case Dialog::ContextualMenu:
        return QStringLiteral("ContextualMenu");
    case Dialog::MailSenha:
        return QStringLiteral("wMailSenha");
    case Dialog::OpenAnyway:
        return QStringLiteral("OpenAnyway");
    }
    return QString();
}

void DialogHooks::pushAnswer(Dialog dialog, const QVariant& answer)
{
    state().answers[dialog].enqueue(answer);
}

void DialogHooks::showReal(Dialog dialog)
{
    state().answers[dialog].enqueue(std::nullopt);
}

std::optional<QVariant> DialogHooks::takeAnswer(Dialog dialog)
{
    auto it = state().answers.find(dialog);
    if (it != state().answers.end() && !it->isEmpty())
        return it->dequeue();
    if (!state().recording)
        return std::nullopt;
    state().messages.append(QStringLiteral("unanswered: ") + dialogName(dialog));
    if (state().unanswered)
        state().unanswered(dialogName(dialog));
    return QVariant();
}

bool DialogHooks::hasAnswer(Dialog dialog)
{
    auto it = state().answers.constFind(dialog);
    return it != state().answers.constEnd() && !it->isEmpty();
}

void DialogHooks::setUnansweredHandler(std::function<void(const QString&)> handler)
{
    state().unanswered = std::move(handler);
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
    if (auto answer = DialogHooks::takeAnswer(Dialog::SaveFolderItem))
        path = answer->toString();
    else {
        const auto start = SpecialFolder::Documents().Child(defaultName);
        path = QFileDialog::getSaveFileName(
            QApplication::activeWindow(), QString(), start ? start->NativePath() : defaultName, filter);
    }
    if (path.isEmpty())
        return std::nullopt;
    return FolderItem(path);
}

bool AskOpenAnyway(const QString& text, const QString& details)
{
    if (auto answer = DialogHooks::takeAnswer(Dialog::OpenAnyway)) {
        if (state().recording)
            state().messages.append(text + QLatin1Char('\n') + details);
        return answer->toBool();
    }
    QMessageBox box(QMessageBox::Warning, QApplication::applicationDisplayName(), text);
    box.setInformativeText(details);
    QPushButton* open = box.addButton(QStringLiteral("Open Anyway"), QMessageBox::AcceptRole);
    // Quit is the safe answer: it leaves the other copy's data alone.
    box.setDefaultButton(box.addButton(QStringLiteral("Quit"), QMessageBox::RejectRole));
    box.exec();
    return box.clickedButton() == open;
}
