#pragma once

#include <QHash>
#include <QList>
#include <QString>

// Text keys to text values. Keys compare without regard to the case of ASCII letters and keep the
// spelling they were first stored with; Key(i) follows the order of insertion.
class Dictionary
{
public:
    qsizetype Count() const { return m_entries.size() - m_removed; }
    bool HasKey(const QString& key) const { return m_index.contains(fold(key)); }
    // The value, or the empty text when the key is absent.
    QString Value(const QString& key) const;
    void setValue(const QString& key, const QString& value);
    void Remove(const QString& key);
    void Clear();
    // Index from 0; out of range is the caller's mistake and throws OutOfBoundsException.
    const QString& Key(qsizetype index) const;
    const QString& ValueAt(qsizetype index) const;

private:
    static QString fold(const QString& key);
    // Drops the removed entries and renumbers the index, all in one pass.
    void compact() const;
    struct Entry
    {
        QString key;
        QString value;
        bool removed = false;
    };
    // A removal only marks its entry, so that removing many keys costs no more than reading them
    // once; the marks are swept before an entry is next reached by its position.
    mutable QList<Entry> m_entries;
    mutable QHash<QString, qsizetype> m_index;
    mutable qsizetype m_removed = 0;
};
