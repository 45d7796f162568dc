#pragma once

#include <QAbstractTableModel>
#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

// Rows of text cells in compact form: each row is one allocation holding its cells as
// length-prefixed UTF-8, so 100,000 rows cost little more than their text. The row being
// written is kept unpacked, since loaders write the same row's cells many times over.
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
    void insertRowAt(int row, const QString& cell0);
    void clear();
    QString cell(int row, int column) const;
    void setCell(int row, int column, const QString& text)
    {
        // Loaders write each cell of the row being filled many times with the same value.
        if (row == m_hot && unsigned(column) < unsigned(m_columns)
            && m_hotCells[size_t(column)].constData() == text.constData()
            && m_hotCells[size_t(column)].size() == text.size())
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
    struct Row
    {
        std::unique_ptr<char[]> packed; // cells as varint length + UTF-8 bytes, in column order
        quint32 checks = 0;
    };
    void storeCell(int row, int column, const QString& text);
    static std::unique_ptr<char[]> pack(const std::vector<QString>& cells);
    static QString unpack(const char* packed, int column);
    bool inRange(const QModelIndex& index) const;
    void makeHot(int row) const;
    void packHot() const;
    void scheduleFlush();

    int m_columns;
    mutable std::vector<Row> m_rows;
    int m_shown = 0; // rows the views know about
    bool m_flushQueued = false;
    mutable int m_hot = -1;
    mutable std::vector<QString> m_hotCells;
    QStringList m_headings;
    quint32 m_checkColumns = 0;
    int m_editRow = -1;
    int m_editColumn = -1;
};
