#include "dictionary.h"

#include "exceptions.h"
#include "text.h"

#include <vector>

QString Dictionary::fold(const QString& key)
{
    return asciiLower(key);
}

QString Dictionary::Value(const QString& key) const
{
    const auto it = m_index.constFind(fold(key));
    return it == m_index.constEnd() ? QString() : m_entries.at(*it).value;
}

void Dictionary::setValue(const QString& key, const QString& value)
{
    const QString f = fold(key);
    const auto it = m_index.constFind(f);
    if (it != m_index.constEnd()) {
        m_entries[*it].value = value;
        return;
    }
    m_index.insert(f, m_entries.size());
    m_entries.append({key, value});
}

void Dictionary::Remove(const QString& key)
{
    const auto it = m_index.find(fold(key));
    if (it == m_index.end())
        return;
    Entry& e = m_entries[*it];
    m_index.erase(it);
    e = Entry{QString(), QString(), true};
    ++m_removed;
    // Sweeping once half the entries are marks keeps the memory bounded at a constant cost per removal.
    if (m_removed > m_entries.size() / 2)
        compact();
}

void Dictionary::compact() const
{
    if (m_removed == 0)
        return;
    std::vector<qsizetype> moved(size_t(m_entries.size()));
    qsizetype next = 0;
    for (qsizetype i = 0; i < m_entries.size(); ++i) {
        moved[size_t(i)] = next;
        if (!m_entries.at(i).removed)
            ++next;
    }
    for (auto it = m_index.begin(); it != m_index.end(); ++it)
        *it = moved[size_t(*it)];
    m_entries.removeIf([](const Entry& e) { return e.removed; });
    m_removed = 0;
}

void Dictionary::Clear()
{
    m_entries.clear();
    m_index.clear();
    m_removed = 0;
}

const QString& Dictionary::Key(qsizetype index) const
{
    compact();
    if (index < 0 || index >= m_entries.size())
        throw OutOfBoundsException();
    return m_entries.at(index).key;
}

const QString& Dictionary::ValueAt(qsizetype index) const
{
    compact();
    if (index < 0 || index >= m_entries.size())
        throw OutOfBoundsException();
    return m_entries.at(index).value;
}
