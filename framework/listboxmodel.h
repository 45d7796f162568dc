#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QStringList>
#include <QUtf8StringView>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

// Rows of text cells in compact form: a row is its cells as length-prefixed UTF-8, packed one after
// the other into large shared blocks, so 100,000 rows cost little more than their text and loading
// them allocates rarely. The row being written is kept unpacked, since loaders write the same row's
// cells many times over; a row packed anew leaves its old bytes behind until the next compaction.
class ListboxModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit ListboxModel(int columns, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    bool setData(const QModelIndex& index, const QVariant& value, int role = Qt::EditRole) override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    int rows() const { return int(m_rows.size()); }
    void appendRow(const QString& cell0);
    void appendRow(QUtf8StringView cell0);
    void insertRowAt(int row, const QString& cell0);
    void clear();
    QString cell(int row, int column) const;
    void setCell(int row, int column, const QString& text);
    void setCell(int row, int column, QUtf8StringView text)
    {
        // Loaders write each cell of the row being filled many times with the same value.
        if (row == m_hot && unsigned(column) < unsigned(m_columns) && sameText(m_hotCells[size_t(column)], text))
            return;
        storeCell(row, column, text);
    }
    bool check(int row, int column) const;
    void setCheck(int row, int column, bool on);
    void setHeadings(const QStringList& headings);
    void setCheckColumn(int column, bool on);
    bool isCheckColumn(int column) const;
    // The one cell that may hold an editor; the view opens editors only where it is told to.
    void setEditableCell(int row, int column);
    // Tells the views about rows appended since the last call. Every entry point that hands a row to a
    // view calls it first, and viewIndex holds it to that.
    void flushPending();
    QModelIndex viewIndex(int row, int column) const
    {
        Q_ASSERT_X(row < m_shown, "ListboxModel::viewIndex", "rows appended since the last flushPending");
        return index(row, column);
    }

signals:
    void checkToggled(int row, int column);

private:
    // Loading a list compares millions of short cells with what they already hold: up to 16 bytes are
    // compared as two overlapping words in place, without a call.
    static bool sameText(const std::string& slot, QUtf8StringView text)
    {
        const size_t n = slot.size();
        if (n != size_t(text.size()))
            return false;
        const char* a = slot.data();
        const char* b = text.data();
        if (n >= 8 && n <= 16)
            return word<quint64>(a) == word<quint64>(b) && word<quint64>(a + n - 8) == word<quint64>(b + n - 8);
        if (n >= 4 && n < 8)
            return word<quint32>(a) == word<quint32>(b) && word<quint32>(a + n - 4) == word<quint32>(b + n - 4);
        return n == 0 || std::memcmp(a, b, n) == 0;
    }
    template <class W> static W word(const char* p)
    {
        W w;
        std::memcpy(&w, p, sizeof w);
        return w;
    }
    void storeCell(int row, int column, QUtf8StringView text);
    void startRow(int row);
    static QString unpack(const char* packed, int column);
    bool inRange(const QModelIndex& index) const;
    void makeHot(int row) const;
    void packHot() const;
    char* allocate(size_t bytes) const;
    void compact() const;
    void scheduleFlush();

    int m_columns;
    // Each row's packed cells, in one of the blocks; null for a row that was never packed.
    mutable std::vector<const char*> m_rows;
    mutable std::vector<std::unique_ptr<char[]>> m_blocks;
    mutable char* m_blockTail = nullptr; // the free bytes at the end of the last block
    mutable size_t m_blockFree = 0;
    mutable size_t m_packedBytes = 0, m_staleBytes = 0;
    // Ticked boxes by row, one bit a column; rows past its end have none.
    std::vector<quint32> m_checks;
    int m_shown = 0; // rows the views know about
    bool m_flushQueued = false;
    mutable int m_hot = -1;
    mutable std::vector<std::string> m_hotCells; // UTF-8
    QStringList m_headings;
    quint32 m_checkColumns = 0;
    int m_editRow = -1;
    int m_editColumn = -1;
};
