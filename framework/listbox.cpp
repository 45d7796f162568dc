#include "listbox.h"

#include "application.h"
#include "keyboard.h"
#include "listboxmodel.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPainter>

namespace {
QString codeText(KeyCode code)
{
    return QString(QChar(char16_t(code)));
}
} // namespace

QString keyText(const QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Tab:
    case Qt::Key_Backtab:
        return codeText(KeyCode::Tab);
    case Qt::Key_Return:
        return codeText(KeyCode::Return);
    case Qt::Key_Enter:
        return codeText(KeyCode::Enter);
    case Qt::Key_Escape:
        return codeText(KeyCode::Escape);
    case Qt::Key_Backspace:
        return codeText(KeyCode::Backspace);
    case Qt::Key_Delete:
        return codeText(KeyCode::Delete);
    default:
        return event->text();
    }
}

bool isKey(const QString& key, KeyCode code)
{
    return key.size() == 1 && key.at(0).unicode() == char16_t(code);
}

int ActiveCellEditor::SelStart() const
{
    return m_edit->hasSelectedText() ? m_edit->selectionStart() : m_edit->cursorPosition();
}

void ActiveCellEditor::setSelStart(int start)
{
    m_edit->setCursorPosition(qBound(0, start, int(m_edit->text().size())));
}

int ActiveCellEditor::SelLength() const
{
    return int(m_edit->selectedText().size());
}

void ActiveCellEditor::setSelLength(int length)
{
    const int start = SelStart();
    const int available = int(m_edit->text().size()) - start;
    m_edit->setSelection(start, qBound(0, length, available));
}

QString ActiveCellEditor::Text() const
{
    return m_edit->text();
}

Listbox::Listbox(int columnCount, QWidget* parent)
    : QTableView(parent)
    , m_model(new ListboxModel(columnCount, this))
{
    setModel(m_model);
    setItemDelegate(new ListboxDelegate(this));
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTabKeyNavigation(false);
    setShowGrid(false);
    setWordWrap(false);
    setCornerButtonEnabled(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    verticalHeader()->hide();
    verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 6);
    horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    horizontalHeader()->setStretchLastSection(false);
    horizontalHeader()->setMinimumSectionSize(10);
    horizontalHeader()->setHighlightSections(false);
    horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    connect(m_model, &ListboxModel::checkToggled, this, [this](int row, int column) {
        if (CellAction)
            RunGuarded([&] { CellAction(row, column); });
    });
}

int Listbox::ColumnCount() const
{
    return m_model->columnCount();
}

void Listbox::AddRow(const QString& text)
{
    m_model->appendRow(text);
    m_lastIndex = m_model->rows() - 1;
}

void Listbox::AddRowUtf8(QUtf8StringView text)
{
    m_model->appendRow(text);
    m_lastIndex = m_model->rows() - 1;
}

void Listbox::InsertRow(int row, const QString& text, int /*indent*/)
{
    row = qBound(0, row, m_model->rows());
    m_model->insertRowAt(row, text);
    m_lastIndex = row;
}

void Listbox::DeleteAllRows()
{
    m_model->clear();
    m_editor = nullptr;
    m_editIndex = QPersistentModelIndex();
    m_lastIndex = -1;
}

int Listbox::ListIndex() const
{
    const QItemSelectionModel* sel = selectionModel();
    const QModelIndex current = sel->currentIndex();
    if (current.isValid() && sel->isRowSelected(current.row(), QModelIndex()))
        return current.row();
    int lowest = -1;
    for (const QItemSelectionRange& r : sel->selection()) {
        if (lowest < 0 || r.top() < lowest)
            lowest = r.top();
    }
    return lowest;
}

void Listbox::setListIndex(int row)
{
    m_model->flushPending();
    if (row < 0 || row >= m_model->rows()) {
        clearSelection();
        return;
    }
    selectionModel()->setCurrentIndex(
        m_model->viewIndex(row, 0), QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
}

int Listbox::ListCount() const
{
    return m_model->rows();
}

int Listbox::SelCount() const
{
    return int(selectionModel()->selectedRows().size());
}

bool Listbox::Selected(int row) const
{
    return selectionModel()->isRowSelected(row, QModelIndex());
}

void Listbox::setSelected(int row, bool on)
{
    m_model->flushPending();
    if (row < 0 || row >= m_model->rows())
        return;
    selectionModel()->select(m_model->viewIndex(row, 0),
        (on ? QItemSelectionModel::Select : QItemSelectionModel::Deselect) | QItemSelectionModel::Rows);
}

QString Listbox::Cell(int row, int column) const
{
    if (m_editor && m_editIndex.isValid() && m_editIndex.row() == row && m_editIndex.column() == column)
        return m_editor->text();
    return m_model->cell(row, column);
}

void Listbox::setCell(int row, int column, const QString& text)
{
    m_model->setCell(row, column, text);
    if (m_editor && m_editIndex.isValid() && m_editIndex.row() == row && m_editIndex.column() == column)
        m_editor->setText(text);
}

void Listbox::editorFollows(int row, int column, QUtf8StringView text)
{
    if (m_editor && m_editIndex.isValid() && m_editIndex.row() == row && m_editIndex.column() == column)
        m_editor->setText(text.toString());
}

bool Listbox::CellCheck(int row, int column) const
{
    return m_model->check(row, column);
}

void Listbox::setCellCheck(int row, int column, bool on)
{
    m_model->setCheck(row, column, on);
}

Listbox::CellType Listbox::ColumnType(int column) const
{
    return m_model->isCheckColumn(column) ? TypeCheckbox : TypeDefault;
}

void Listbox::setColumnType(int column, CellType type)
{
    m_model->setCheckColumn(column, type == TypeCheckbox);
}

void Listbox::EditCell(int row, int column)
{
    m_model->flushPending();
    if (row < 0 || row >= m_model->rows() || column < 0 || column >= ColumnCount())
        return;
    if (m_editor) {
        QWidget* old = m_editor;
        commitData(old);
        closeEditor(old, QAbstractItemDelegate::NoHint);
    }
    const QModelIndex index = m_model->viewIndex(row, column);
    m_model->setEditableCell(row, column);
    // The row of an open cell is the selected row: handlers read it back as ListIndex.
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    scrollTo(index);
    if (!edit(index, QAbstractItemView::AllEditTriggers, nullptr)) {
        m_model->setEditableCell(-1, -1);
        return;
    }
    // The cell opens with the caret after its text; handlers select when they want to.
    if (m_editor) {
        m_editor->deselect();
        m_editor->end(false);
    }
}

std::unique_ptr<ActiveCellEditor> Listbox::ActiveCell() const
{
    if (!m_editor)
        return nullptr;
    return std::make_unique<ActiveCellEditor>(m_editor.data());
}

void Listbox::SetFocus()
{
    setFocus(Qt::OtherFocusReason);
}

void Listbox::setColumnWidths(const QString& widths)
{
    m_columnWidths = widths;
    const QStringList items = widths.split(QLatin1Char(','));
    for (int c = 0; c < ColumnCount() && c < items.size(); ++c) {
        bool ok = false;
        const int w = items.at(c).trimmed().toInt(&ok);
        if (!ok || w < 0)
            continue;
        setColumnHidden(c, w == 0);
        if (w > 0)
            setColumnWidth(c, w);
    }
}

QString Listbox::ColumnWidths() const
{
    return m_columnWidths;
}

void Listbox::setInitialValue(const QString& headings)
{
    m_model->setHeadings(headings.split(QLatin1Char('\t')));
}

int Listbox::WidthActual(int column) const
{
    return isColumnHidden(column) ? 0 : columnWidth(column);
}

QString Listbox::Heading(int column) const
{
    return m_model->headerData(column, Qt::Horizontal, Qt::DisplayRole).toString();
}

bool Listbox::dispatchCellClick(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (!index.isValid() || !CellClick)
        return false;
    const QRect cell = visualRect(index);
    const QPoint at = event->position().toPoint() - cell.topLeft();
    setContextualClick(event->button() == Qt::RightButton);
    // A handler that raised is done with the click: the view does not go on with it.
    const bool handled = RunGuarded([&] { return CellClick(index.row(), index.column(), at.x(), at.y()); }, true);
    setContextualClick(false);
    return handled;
}

void Listbox::mousePressEvent(QMouseEvent* event)
{
    m_model->flushPending();
    if (dispatchCellClick(event)) {
        event->accept();
        return;
    }
    QTableView::mousePressEvent(event);
}

void Listbox::mouseDoubleClickEvent(QMouseEvent* event)
{
    m_model->flushPending();
    if (dispatchCellClick(event)) {
        event->accept();
        return;
    }
    if (DoubleClick && event->button() == Qt::LeftButton)
        RunGuarded(DoubleClick);
    event->accept();
}

void Listbox::keyPressEvent(QKeyEvent* event)
{
    if (KeyDown) {
        const Keyboard::EventShiftScope shift(event->modifiers().testFlag(Qt::ShiftModifier));
        if (RunGuarded([&] { return KeyDown(keyText(event)); }, true)) {
            event->accept();
            return;
        }
    }
    QTableView::keyPressEvent(event);
}

bool Listbox::editorKey(QWidget* editor, QKeyEvent* event)
{
    if (!CellKeyDown || editor != m_editor || !m_editIndex.isValid())
        return false;
    const QPointer<QWidget> alive(editor);
    const Keyboard::EventShiftScope shift(
        event->modifiers().testFlag(Qt::ShiftModifier) || event->key() == Qt::Key_Backtab);
    if (RunGuarded([&] { return CellKeyDown(m_editIndex.row(), m_editIndex.column(), keyText(event)); }, true))
        return true;
    // The handler may have reloaded the list or moved the edit: then this editor is done with.
    return !alive || editor != m_editor || !m_editIndex.isValid();
}

void Listbox::editorOpened(QWidget* editor, const QModelIndex& index)
{
    m_editor = qobject_cast<QLineEdit*>(editor);
    m_editIndex = index;
}

void Listbox::closeEditor(QWidget* editor, QAbstractItemDelegate::EndEditHint hint)
{
    const bool ours = editor == m_editor;
    const QModelIndex index = m_editIndex;
    if (ours) {
        m_editor = nullptr;
        m_editIndex = QPersistentModelIndex();
        m_model->setEditableCell(-1, -1);
    }
    // Tab and Backtab are the handlers' business; the view must not wander to another cell.
    if (hint == QAbstractItemDelegate::EditNextItem || hint == QAbstractItemDelegate::EditPreviousItem)
        hint = QAbstractItemDelegate::NoHint;
    QTableView::closeEditor(editor, hint);
    if (ours && index.isValid() && CellLostFocus)
        RunGuarded([&] { CellLostFocus(index.row(), index.column()); });
}

ListboxDelegate::ListboxDelegate(Listbox* list)
    : QStyledItemDelegate(list)
    , m_list(list)
{
}

QWidget* ListboxDelegate::createEditor(QWidget* parent, const QStyleOptionViewItem&, const QModelIndex& index) const
{
    auto* edit = new QLineEdit(parent);
    edit->setFrame(false);
    m_list->editorOpened(edit, index);
    return edit;
}

bool ListboxDelegate::eventFilter(QObject* object, QEvent* event)
{
    if (event->type() == QEvent::KeyPress) {
        auto* editor = qobject_cast<QWidget*>(object);
        if (editor && m_list->editorKey(editor, static_cast<QKeyEvent*>(event)))
            return true;
    }
    return QStyledItemDelegate::eventFilter(object, event);
}

void ListboxDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    QStyleOptionViewItem opt(option);
    initStyleOption(&opt, index);
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    const int row = index.row(), column = index.column();
    const bool selected = opt.state.testFlag(QStyle::State_Selected);
    const QPalette::ColorGroup group = opt.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;

    painter->save();
    if (m_list->CellBackgroundPaint) {
        Graphics g(painter, opt.rect, opt.palette.color(group, QPalette::Base));
        const bool handled = m_list->CellBackgroundPaint(g, row, column);
        // The selection is drawn over whatever the handler filled.
        if (!handled && selected)
            painter->fillRect(opt.rect, opt.palette.brush(group, QPalette::Highlight));
    } else {
        QStyleOptionViewItem panel(opt);
        panel.text.clear();
        panel.features &= ~QStyleOptionViewItem::HasCheckIndicator;
        style->drawPrimitive(QStyle::PE_PanelItemViewItem, &panel, painter, widget);
    }

    QColor textColor = opt.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
    bool textHandled = false;
    if (m_list->CellTextPaint) {
        Graphics g(painter, opt.rect, textColor);
        textHandled = m_list->CellTextPaint(g, row, column, 0, 0);
        textColor = g.ForeColor;
    }

    if (opt.features.testFlag(QStyleOptionViewItem::HasCheckIndicator)) {
        QStyleOptionViewItem check(opt);
        check.rect = style->subElementRect(QStyle::SE_ItemViewItemCheckIndicator, &opt, widget);
        check.state &= ~QStyle::State_HasFocus;
        check.state |= opt.checkState == Qt::Checked ? QStyle::State_On : QStyle::State_Off;
        style->drawPrimitive(QStyle::PE_IndicatorItemViewItemCheck, &check, painter, widget);
    } else if (!textHandled && !opt.text.isEmpty()) {
        const int margin = style->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, widget) + 1;
        const QRect textRect = opt.rect.adjusted(margin, 0, -margin, 0);
        painter->setFont(opt.font);
        painter->setPen(textColor);
        const QString text = opt.fontMetrics.elidedText(opt.text, Qt::ElideRight, textRect.width());
        painter->drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
    }
    painter->restore();
}
