#pragma once

#include "graphics.h"
#include "listboxmodel.h"

#include <QPersistentModelIndex>
#include <QPointer>
#include <QStyledItemDelegate>
#include <QTableView>
#include <QUtf8StringView>
#include <functional>

class QLineEdit;

// The open cell editor, as handlers see it.
class ActiveCellEditor
{
public:
    explicit ActiveCellEditor(QLineEdit* edit)
        : m_edit(edit)
    {
    }
    int SelStart() const;
    void setSelStart(int start);
    int SelLength() const;
    void setSelLength(int length);
    QString Text() const;

private:
    QLineEdit* m_edit;
};

// A multi-column list whose cells are edited in place. Handlers are plain callbacks named as
// the window's events; a true result from a Boolean handler means the event was dealt with.
class Listbox : public QTableView
{
    Q_OBJECT

public:
    explicit Listbox(int columnCount, QWidget* parent = nullptr);

    std::function<bool(int row, int column, int x, int y)> CellClick;
    std::function<void()> DoubleClick;
    std::function<bool(int row, int column, const QString& key)> CellKeyDown;
    std::function<bool(const QString& key)> KeyDown;
    std::function<void(int row, int column)> CellAction;
    std::function<void(int row, int column)> CellLostFocus;
    std::function<bool(Graphics& g, int row, int column)> CellBackgroundPaint;
    std::function<bool(Graphics& g, int row, int column, int x, int y)> CellTextPaint;

    int ColumnCount() const;
    void AddRow(const QString& text);
    // The same for text already in UTF-8, as the database gives it: loaders spare the conversions.
    void AddRowUtf8(QUtf8StringView text);
    void InsertRow(int row, const QString& text, int indent = 0);
    void DeleteAllRows();
    int LastIndex() const { return m_lastIndex; }
    int ListIndex() const;
    void setListIndex(int row);
    int ListCount() const;
    int SelCount() const;
    bool Selected(int row) const;
    void setSelected(int row, bool on);
    // The text of an open cell is what has been typed so far.
    QString Cell(int row, int column) const;
    void setCell(int row, int column, const QString& text);
    // Loaders call it for every cell many times over, so it stays inline.
    void setCellUtf8(int row, int column, QUtf8StringView text)
    {
        m_model->setCell(row, column, text);
        if (!m_editor.isNull()) // inline, where the index's own check is a call
            editorFollows(row, column, text);
    }
    bool CellCheck(int row, int column) const;
    void setCellCheck(int row, int column, bool on);
    // A column's kind, by the framework's codes.
    enum CellType : int { TypeDefault = 0, TypeCheckbox = 2 };
    CellType ColumnType(int column) const;
    void setColumnType(int column, CellType type);
    void EditCell(int row, int column);
    // Null when no cell is open.
    std::unique_ptr<ActiveCellEditor> ActiveCell() const;
    void SetFocus();
    // "0,  100,  160": blanks after a comma are ignored, 0 hides a column, an empty or
    // unreadable item leaves that column as it is.
    void setColumnWidths(const QString& widths);
    QString ColumnWidths() const;
    // Headings separated by tabs; the rows stay as they are.
    void setInitialValue(const QString& headings);
    int WidthActual(int column) const;
    QString Heading(int column) const;

    ListboxModel* listModel() const { return m_model; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint) override;

private:
    friend class ListboxDelegate;
    bool dispatchCellClick(QMouseEvent* event);
    // Returns true when the key must not reach the editor.
    bool editorKey(QWidget* editor, QKeyEvent* event);
    void editorOpened(QWidget* editor, const QModelIndex& index);
    void editorFollows(int row, int column, QUtf8StringView text);

    ListboxModel* m_model;
    int m_lastIndex = -1;
    QString m_columnWidths;
    QPointer<QLineEdit> m_editor;
    QPersistentModelIndex m_editIndex;
};

class ListboxDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit ListboxDelegate(Listbox* list);
    QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    Listbox* m_list;
};

// The control characters that stand for keys in the text handlers compare.
enum class KeyCode : char16_t { Enter = 3, Backspace = 8, Tab = 9, Return = 13, Escape = 27, Delete = 127 };
// Text of a key as handlers compare it: the key's code for those above; otherwise the typed text.
QString keyText(const QKeyEvent* event);
// True when the key's text is that one code.
bool isKey(const QString& key, KeyCode code);
