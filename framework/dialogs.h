#pragma once

#include "folderitem.h"

#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>

class QWidget;

// The program's one-button message.
void MsgBox(const QString& text);

// The save dialog, opening in Documents with the given name; nothing when the user cancels. The
// dialog itself asks before an existing file is chosen. Its hook answer is a path, empty for Cancel.
std::optional<FolderItem> GetSaveFolderItem(const QString& filter, const QString& defaultName);

// Test seam for every modal dialog of the program. Tests record MsgBox texts instead of showing
// them, and queue the next answer of a named dialog so that it returns at once without showing.
class DialogHooks
{
public:
    static void setRecording(bool on);
    static bool recording();
    static QStringList takeMessages();
    static void record(const QString& text);

    static void pushAnswer(const QString& dialog, const QVariant& answer);
    static std::optional<QVariant> takeAnswer(const QString& dialog);
    static void clear();
};
