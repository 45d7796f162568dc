#pragma once

#include "folderitem.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <optional>

class QWidget;

// The program's one-button message.
void MsgBox(const QString& text);

// The save dialog, opening in Documents with the given name; nothing when the user cancels. The
// dialog itself asks before an existing file is chosen. Its hook answer is a path, empty for Cancel.
std::optional<FolderItem> GetSaveFolderItem(const QString& filter, const QString& defaultName);

// The question of a start whose data folder is held by a copy it cannot reach: true for "Open Anyway",
// false for "Quit", which is also what Escape and closing the question give.
bool AskOpenAnyway(const QString& text, const QString& details);

// The program's modal dialogs, as the test seam knows them: a typed name cannot be misspelt.
enum class Dialog {
    Confirma, // answer: bool
    SelectColor, // answer: a colour
    SaveFolderItem, // answer: a path, empty for Cancel
    ContextualMenu, // answer: the chosen item's text
    MailSenha, // answer: the typed password for Ok
    OpenAnyway, // answer: bool
};
QString dialogName(Dialog dialog);

// Test seam for every modal dialog of the program. Tests record MsgBox texts instead of showing
// them, and queue the next answer of a dialog so that it returns at once without showing.
class DialogHooks
{
public:
    static void setRecording(bool on);
    static bool recording();
    static QStringList takeMessages();
    static void record(const QString& text);

    // An invalid variant answers as Cancel (or Escape) would.
    static void pushAnswer(Dialog dialog, const QVariant& answer);
    // The next opening shows the real dialog, for tests that drive its controls themselves.
    static void showReal(Dialog dialog);
    // The queued answer, or nothing: then the real dialog shows. While recording, a dialog with no
    // queued answer never shows: "unanswered: <dialog>" is recorded and Cancel comes back, so the
    // test fails at its next message check instead of hanging on a modal window.
    static std::optional<QVariant> takeAnswer(Dialog dialog);
    static bool hasAnswer(Dialog dialog);
    // Called with the dialog's name when one goes unanswered while recording; a test fixture fails there.
    static void setUnansweredHandler(std::function<void(const QString&)> handler);
    static void clear();
};
