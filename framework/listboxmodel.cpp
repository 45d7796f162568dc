#include "listboxmodel.h"

#include <QMetaObject>
#include <QStringEncoder>
#include <algorithm>
#include <cstring>
#include <string>

ListboxModel::ListboxModel(int columns, QObject* parent)
    : QAbstractTableModel(parent)
    , m_columns(qBound(1, columns, 32))
    , m_hotCells(size_t(m_columns))
{
}

int ListboxModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_shown;
}

int ListboxModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

std::unique_ptr<char[]> ListboxModel::pack(const std::vector<QString>& cells)
{
    // Encoded through scratch buffers that live on, so packing a row allocates only its result.
    static thread_local std::string cell, row;
    row.clear();
    for (const QString& c : cells) {
        cell.resize(size_t(c.size()) * 3);
        QStringEncoder encoder(QStringEncoder::Utf8);
        const char* end = encoder.appendToBuffer(cell.data(), c);
        quint64 n = quint64(end - cell.data());
        do {
            const char b = char(n & 0x7f);
            n >>= 7;
            row.push_back(n ? char(b | 0x80) : b);
        } while (n);
        row.append(cell.data(), size_t(end - cell.data()));
    }
    auto packed = std::make_unique_for_overwrite<char[]>(row.size());
    std::memcpy(packed.get(), row.data(), row.size());
    return packed;
}

static const char* readLength(const char* p, quint64& n)
{
    n = 0;
    int shift = 0;
    unsigned char b;
    do {
        b = static_cast<unsigned char>(*p++);
        n |= quint64(b & 0x7f) << shift;
        shift += 7;
    } while (b & 0x80);
    return p;
}

QString ListboxModel::unpack(const char* packed, int column)
{
    const char* p = packed;
    quint64 n = 0;
    for (int c = 0;; ++c) {
        p = readLength(p, n);
        if (c == column)
            return QString::fromUtf8(p, qsizetype(n));
        p += n;
    }
}

void ListboxModel::packHot() const
{
    if (m_hot < 0)
        return;
    m_rows[size_t(m_hot)].packed = pack(m_hotCells);
    m_hot = -1;
}

void ListboxModel::makeHot(int row) const
{
    if (m_hot == row)
        return;
    packHot();
    const Row& r = m_rows[size_t(row)];
    for (int c = 0; c < m_columns; ++c)
        m_hotCells[size_t(c)] = r.packed ? unpack(r.packed.get(), c) : QString();
    m_hot = row;
}

QString ListboxModel::cell(int row, int column) const
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return QString();
    if (row == m_hot)
        return m_hotCells[size_t(column)];
    const Row& r = m_rows[size_t(row)];
    return r.packed ? unpack(r.packed.get(), column) : QString();
}

void ListboxModel::storeCell(int row, int column, const QString& text)
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return;
    makeHot(row);
    QString& slot = m_hotCells[size_t(column)];
    if (slot == text)
        return;
    slot = text;
    if (row < m_shown) {
        const QModelIndex i = index(row, column);
        emit dataChanged(i, i, {Qt::DisplayRole, Qt::EditRole});
    }
}

bool ListboxModel::check(int row, int column) const
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return false;
    return m_rows[size_t(row)].checks & (1u << column);
}

void ListboxModel::setCheck(int row, int column, bool on)
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return;
    quint32& bits = m_rows[size_t(row)].checks;
    const quint32 next = on ? (bits | (1u << column)) : (bits & ~(1u << column));
    if (next == bits)
        return;
    bits = next;
    if (row < m_shown) {
        const QModelIndex i = index(row, column);
        emit dataChanged(i, i, {Qt::CheckStateRole});
    }
}

void ListboxModel::scheduleFlush()
{
    if (m_flushQueued)
        return;
    m_flushQueued = true;
    QMetaObject::invokeMethod(this, &ListboxModel::flushPending, Qt::QueuedConnection);
}

void ListboxModel::flushPending()
{
    m_flushQueued = false;
    const int total = rows();
    if (m_shown >= total)
        return;
    beginInsertRows(QModelIndex(), m_shown, total - 1);
    m_shown = total;
    endInsertRows();
}

void ListboxModel::appendRow(const QString& cell0)
{
    packHot();
    m_rows.push_back(Row());
    m_hot = rows() - 1;
    std::fill(m_hotCells.begin(), m_hotCells.end(), QString());
    m_hotCells[0] = cell0;
    // Views hear of appended rows in one batch when control returns to the event loop.
    scheduleFlush();
}

void ListboxModel::insertRowAt(int row, const QString& cell0)
{
    flushPending();
    packHot();
    row = qBound(0, row, rows());
    beginInsertRows(QModelIndex(), row, row);
    m_rows.insert(m_rows.begin() + row, Row());
    m_shown = rows();
    m_hot = row;
    std::fill(m_hotCells.begin(), m_hotCells.end(), QString());
    m_hotCells[0] = cell0;
    endInsertRows();
}

void ListboxModel::clear()
{
    beginResetModel();
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_shown = 0;
    m_hot = -1;
    m_editRow = m_editColumn = -1;
    endResetModel();
}

bool ListboxModel::inRange(const QModelIndex& index) const
{
    return index.isValid() && index.model() == this && index.row() < m_shown && index.column() < m_columns;
}

QVariant ListboxModel::data(const QModelIndex& index, int role) const
{
    if (!inRange(index))
        return QVariant();
    const int row = index.row(), column = index.column();
    switch (role) {
    case Qt::DisplayRole:
    case Qt::EditRole:
        if (isCheckColumn(column) && role == Qt::DisplayRole)
            return QVariant();
        return cell(row, column);
    case Qt::CheckStateRole:
        if (isCheckColumn(column))
            return check(row, column) ? Qt::Checked : Qt::Unchecked;
        return QVariant();
    default:
        return QVariant();
    }
}

bool ListboxModel::setData(const QModelIndex& index, const QVariant& value, int role)
{
    if (!inRange(index))
        return false;
    if (role == Qt::CheckStateRole && isCheckColumn(index.column())) {
        const bool on = value.toInt() == Qt::Checked;
        if (on == check(index.row(), index.column()))
            return true;
        setCheck(index.row(), index.column(), on);
        emit checkToggled(index.row(), index.column());
        return true;
    }
    if (role == Qt::EditRole) {
        setCell(index.row(), index.column(), value.toString());
        return true;
    }
    return false;
}

QVariant ListboxModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= m_columns)
        return QVariant();
    return m_headings.value(section);
}

Qt::ItemFlags ListboxModel::flags(const QModelIndex& index) const
{
    if (!inRange(index))
        return Qt::NoItemFlags;
    Qt::ItemFlags f = Qt::ItemIsEnabled | Qt::ItemIsSelectable;
    if (isCheckColumn(index.column()))
        f |= Qt::ItemIsUserCheckable;
    if (index.row() == m_editRow && index.column() == m_editColumn)
        f |= Qt::ItemIsEditable;
    return f;
}

void ListboxModel::setHeadings(const QStringList& headings)
{
    m_headings = headings;
    emit headerDataChanged(Qt::Horizontal, 0, m_columns - 1);
}

void ListboxModel::setCheckColumn(int column, bool on)
{
    if (column < 0 || column >= m_columns)
        return;
    m_checkColumns = on ? (m_checkColumns | (1u << column)) : (m_checkColumns & ~(1u << column));
    if (m_shown > 0)
        emit dataChanged(index(0, column), index(m_shown - 1, column));
}

bool ListboxModel::isCheckColumn(int column) const
{
    return column >= 0 && column < m_columns && (m_checkColumns & (1u << column));
}

void ListboxModel::setEditableCell(int row, int column)
{
    m_editRow = row;
    m_editColumn = column;
}
