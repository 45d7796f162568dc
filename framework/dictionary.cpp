#include "dictionary.h"

#include "exceptions.h"
#include "text.h"

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
    const qsizetype at = *it;
    m_index.erase(it);
    m_entries.removeAt(at);
    for (qsizetype i = at; i < m_entries.size(); ++i)
        m_index[fold(m_entries.at(i).key)] = i;
}

void Dictionary::Clear()
{
    m_entries.clear();
    m_index.clear();
}

const QString& Dictionary::Key(qsizetype index) const
{
    if (index < 0 || index >= m_entries.size())
        throw OutOfBoundsException();
    return m_entries.at(index).key;
}

const QString& Dictionary::ValueAt(qsizetype index) const
{
    if (index < 0 || index >= m_entries.size())
        throw OutOfBoundsException();
    return m_entries.at(index).value;
}
