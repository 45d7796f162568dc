#pragma once

#include <QMenu>
#include <functional>

// A pop-up menu of text rows; a choice reports the row's text.
class ContextualMenu : public QMenu
{
    Q_OBJECT

public:
    explicit ContextualMenu(QWidget* parent = nullptr);

    void DeleteAllRows();
    void AddRow(const QString& text);
    QStringList rows() const;
    // Shows the menu at the mouse and returns at once; Action follows if the user chooses.
    // A test may answer in advance through DialogHooks under the menu's objectName: a row's text,
    // or an invalid variant for a dismissal.
    void Open();

    std::function<void(const QString& item)> Action;
};
