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

namespace {
constexpr size_t kBlockBytes = 64 * 1024;

size_t lengthBytes(size_t n)
{
    size_t bytes = 1;
    while (n >>= 7)
        ++bytes;
    return bytes;
}

char* writeLength(char* p, size_t n)
{
    do {
        const char b = char(n & 0x7f);
        n >>= 7;
        *p++ = n ? char(b | 0x80) : b;
    } while (n);
    return p;
}

const char* readLength(const char* p, size_t& n)
{
    n = 0;
    int shift = 0;
    unsigned char b;
    do {
        b = static_cast<unsigned char>(*p++);
        n |= size_t(b & 0x7f) << shift;
        shift += 7;
    } while (b & 0x80);
    return p;
}

size_t packedSize(const char* packed, int columns)
{
    const char* p = packed;
    size_t n = 0;
    for (int c = 0; c < columns; ++c) {
        p = readLength(p, n);
        p += n;
    }
    return size_t(p - packed);
}
} // namespace

char* ListboxModel::allocate(size_t bytes) const
{
    if (bytes > m_blockFree) {
        // A row larger than a block gets a block of its own.
        const size_t size = std::max(bytes, kBlockBytes);
        m_blocks.push_back(std::make_unique_for_overwrite<char[]>(size));
        m_blockTail = m_blocks.back().get();
        m_blockFree = size;
    }
    char* p = m_blockTail;
    m_blockTail += bytes;
    m_blockFree -= bytes;
    return p;
}

// Packs every row again into fresh blocks, leaving behind the bytes of rows packed anew since.
void ListboxModel::compact() const
{
    std::vector<std::unique_ptr<char[]>> old;
    old.swap(m_blocks);
    m_blockTail = nullptr;
    m_blockFree = 0;
    m_packedBytes = 0;
    m_staleBytes = 0;
    for (const char*& row : m_rows) {
        if (!row)
            continue;
        const size_t bytes = packedSize(row, m_columns);
        char* p = allocate(bytes);
        std::memcpy(p, row, bytes);
        row = p;
        m_packedBytes += bytes;
    }
}

QString ListboxModel::unpack(const char* packed, int column)
{
    const char* p = packed;
    size_t n = 0;
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
    size_t bytes = 0;
    for (const std::string& c : m_hotCells)
        bytes += lengthBytes(c.size()) + c.size();
    const char*& row = m_rows[size_t(m_hot)];
    if (row) {
        const size_t old = packedSize(row, m_columns);
        m_packedBytes -= old;
        m_staleBytes += old;
    }
    char* p = allocate(bytes);
    row = p;
    for (const std::string& c : m_hotCells) {
        p = writeLength(p, c.size());
        std::memcpy(p, c.data(), c.size());
        p += c.size();
    }
    m_packedBytes += bytes;
    m_hot = -1;
    // Rows edited over and over must not make the list grow without end.
    if (m_staleBytes > kBlockBytes && m_staleBytes > m_packedBytes)
        compact();
}

void ListboxModel::makeHot(int row) const
{
    if (m_hot == row)
        return;
    packHot();
    const char* p = m_rows[size_t(row)];
    size_t n = 0;
    for (std::string& c : m_hotCells) {
        if (!p) {
            c.clear();
            continue;
        }
        p = readLength(p, n);
        c.assign(p, n);
        p += n;
    }
    m_hot = row;
}

QString ListboxModel::cell(int row, int column) const
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return QString();
    if (row == m_hot)
        return QString::fromStdString(m_hotCells[size_t(column)]);
    const char* packed = m_rows[size_t(row)];
    return packed ? unpack(packed, column) : QString();
}

void ListboxModel::setCell(int row, int column, const QString& text)
{
    static thread_local std::string utf8;
    utf8.resize(size_t(text.size()) * 3);
    QStringEncoder encoder(QStringEncoder::Utf8);
    utf8.resize(size_t(encoder.appendToBuffer(utf8.data(), text) - utf8.data()));
    setCell(row, column, QUtf8StringView(utf8));
}

void ListboxModel::storeCell(int row, int column, QUtf8StringView text)
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return;
    makeHot(row);
    std::string& slot = m_hotCells[size_t(column)];
    if (sameText(slot, text))
        return;
    slot.assign(text.data(), size_t(text.size()));
    if (row < m_shown) {
        const QModelIndex i = index(row, column);
        emit dataChanged(i, i, {Qt::DisplayRole, Qt::EditRole});
    }
}

bool ListboxModel::check(int row, int column) const
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return false;
    return size_t(row) < m_checks.size() && (m_checks[size_t(row)] & (1u << column));
}

void ListboxModel::setCheck(int row, int column, bool on)
{
    if (row < 0 || row >= rows() || column < 0 || column >= m_columns)
        return;
    if (!on && size_t(row) >= m_checks.size())
        return;
    if (size_t(row) >= m_checks.size())
        m_checks.resize(size_t(rows()));
    quint32& bits = m_checks[size_t(row)];
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
    // After a load, give back what the growth of the row tables reserved; single rows keep it.
    if (total - m_shown > 1024) {
        m_rows.shrink_to_fit();
        m_checks.shrink_to_fit();
    }
    beginInsertRows(QModelIndex(), m_shown, total - 1);
    m_shown = total;
    endInsertRows();
}

void ListboxModel::startRow(int row)
{
    m_hot = row;
    for (std::string& c : m_hotCells)
        c.clear();
}

void ListboxModel::appendRow(QUtf8StringView cell0)
{
    packHot();
    m_rows.push_back(nullptr);
    startRow(rows() - 1);
    m_hotCells[0].assign(cell0.data(), size_t(cell0.size()));
    // Views hear of appended rows in one batch when control returns to the event loop.
    scheduleFlush();
}

void ListboxModel::appendRow(const QString& cell0)
{
    appendRow(QUtf8StringView(cell0.toUtf8()));
}

void ListboxModel::insertRowAt(int row, const QString& cell0)
{
    flushPending();
    packHot();
    row = qBound(0, row, rows());
    beginInsertRows(QModelIndex(), row, row);
    m_rows.insert(m_rows.begin() + row, nullptr);
    if (size_t(row) < m_checks.size())
        m_checks.insert(m_checks.begin() + row, 0);
    m_shown = rows();
    startRow(row);
    m_hotCells[0] = cell0.toStdString();
    endInsertRows();
}

void ListboxModel::clear()
{
    beginResetModel();
    m_rows.clear();
    m_rows.shrink_to_fit();
    m_blocks.clear();
    m_blockTail = nullptr;
    m_blockFree = 0;
    m_packedBytes = m_staleBytes = 0;
    m_checks.clear();
    m_checks.shrink_to_fit();
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
