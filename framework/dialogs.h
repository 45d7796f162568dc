#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <optional>

class QWidget;

// The program's one-button message.
void MsgBox(const QString& text);

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
