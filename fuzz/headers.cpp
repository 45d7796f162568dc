// The header store: parsing and unfolding, then a list of changes, checked against a plain model
// of the store that walks its keys one by one. Input: the header text, a line "#", then one change a
// line, fields separated by "|": "A name|value", "S name|value", "N name|value|number", "D name",
// "E name|number", "X" (all headers deleted).
#include "fuzz.h"
#include "internetheaders.h"
#include "text.h"

#include <QList>
#include <QPair>

namespace {
// Every key found by walking the list: slow, and plainly right.
struct Model
{
    QList<QPair<QString, QString>> entries;

    qsizetype find(const QString& k) const
    {
        for (qsizetype i = 0; i < entries.size(); ++i) {
            if (asciiLower(entries[i].first) == asciiLower(k))
                return i;
        }
        return -1;
    }
    bool has(const QString& k) const { return find(k) >= 0; }
    QString value(const QString& k) const { return has(k) ? entries[find(k)].second : QString(); }
    void set(const QString& k, const QString& v)
    {
        const qsizetype i = find(k);
        if (i >= 0)
            entries[i].second = v;
        else
            entries.append({k, v});
    }
    void remove(const QString& k)
    {
        const qsizetype i = find(k);
        if (i >= 0)
            entries.removeAt(i);
    }
    static QString numbered(const QString& name, qint64 n) { return name + QLatin1Char(':') + Str(n); }
    qint32 nameCount(const QString& name) const
    {
        if (!has(name))
            return 0;
        qint32 n = 1;
        while (has(numbered(name, n)))
            ++n;
        return n;
    }
    void append(const QString& name, const QString& v)
    {
        QString k = name;
        for (qint32 n = 0; has(k);)
            k = numbered(NthField(k, QStringLiteral(":"), 1), ++n);
        set(k, v);
    }
    void setHeader(const QString& name, const QString& v)
    {
        if (nameCount(name) >= 2)
            deleteAll(name);
        set(name, v);
    }
    void setHeader(const QString& name, const QString& v, qint32 number)
    {
        const QString k = number == 0 ? name : numbered(name, number);
        if (has(k))
            set(k, v);
        else
            append(k, v);
    }
    void deleteAll(const QString& name)
    {
        const qint32 count = nameCount(name);
        for (qint32 n = 0; n < count; ++n)
            remove(n == 0 ? name : numbered(name, n));
    }
    void deleteOne(const QString& name, qint32 number)
    {
        const QString k = number == 0 ? name : numbered(name, number);
        if (!has(k))
            return;
        remove(k);
        for (qint64 n = qint64(number) + 1;; ++n) {
            const QString next = numbered(name, n);
            if (!has(next))
                return;
            set(n - 1 == 0 ? name : numbered(name, n - 1), value(next));
            remove(next);
        }
    }
    void parse(const QString& text)
    {
        entries.clear();
        const QString eol = InternetHeaders::_DetermineEOLCharacter(text);
        for (const QString& line : Split(InternetHeaders::unfold(text, eol), eol)) {
            const qsizetype colon = line.indexOf(QLatin1Char(':'));
            if (colon >= 0)
                append(line.left(colon), LTrim(line.mid(colon + 1)));
        }
    }
};

void compare(const InternetHeaders& h, const Model& m)
{
    FUZZ_CHECK(h.Count() == m.entries.size());
    for (qsizetype i = 0; i < m.entries.size(); ++i) {
        const auto& [k, v] = m.entries[i];
        FUZZ_CHECK(h.Name(qint32(i)) == NthField(k, QStringLiteral(":"), 1));
        FUZZ_CHECK(h.Value(qint32(i)) == v);
        // The whole key, colon and number included, names the same value.
        FUZZ_CHECK(h.NameCount(k) > 0 && h.Value(k) == v);
        const QString name = NthField(k, QStringLiteral(":"), 1);
        FUZZ_CHECK(h.NameCount(name) == m.nameCount(name));
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString input = fuzzText(data, size);
    const qsizetype split = input.indexOf(QLatin1String("\n#\n"));
    const QString text = split < 0 ? input : input.left(split);
    const QStringList changes = split < 0 ? QStringList() : input.mid(split + 3).split(QLatin1Char('\n'));
    EmailHeaders h;
    h._ParseHeaders(text);
    FUZZ_CHECK(h.Source() == text);
    // The model walks every key for every lookup: it keeps up only with small stores.
    const bool modelled = text.count(QLatin1Char('\n')) + text.count(QLatin1Char('\r')) < 40 && changes.size() < 40;
    Model m;
    if (modelled) {
        m.parse(text);
        compare(h, m);
    }
    for (const QString& line : changes) {
        // One blank may stand between the letter and the name, as the corpus writes its changes.
        const QStringList f = line.mid(line.mid(1, 1) == QLatin1String(" ") ? 2 : 1).split(QLatin1Char('|'));
        const QString name = f.value(0), value = f.value(1);
        const qint32 number = f.value(line.startsWith(QLatin1Char('N')) ? 2 : 1).toInt();
        switch (line.isEmpty() ? ' ' : line.at(0).toLatin1()) {
        case 'A':
            h.AppendHeader(name, value);
            if (modelled)
                m.append(name, value);
            break;
        case 'S':
            h.SetHeader(name, value);
            if (modelled)
                m.setHeader(name, value);
            break;
        case 'N':
            h.SetHeader(name, value, number);
            if (modelled)
                m.setHeader(name, value, number);
            break;
        case 'D':
            h.Delete(name);
            if (modelled)
                m.deleteAll(name);
            break;
        case 'E':
            h.Delete(name, number);
            if (modelled)
                m.deleteOne(name, number);
            break;
        case 'X':
            h.DeleteAllHeaders();
            m.entries.clear();
            break;
        default:
            break;
        }
        // After every change, so that a later one (say deleting all) cannot hide what an earlier one did.
        if (modelled)
            compare(h, m);
    }
    h._FormatEmailHeaders();
    h._FormatHTTPHeaders();
    return 0;
}
