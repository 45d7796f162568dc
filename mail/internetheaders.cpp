#include "internetheaders.h"

#include "text.h"

namespace {
const QString kCRLF = QStringLiteral("\r\n");
}

QString InternetHeaders::key(const QString& name, qint32 number)
{
    return number < 1 ? name : name + QLatin1Char(':') + Str(number);
}

QString InternetHeaders::changeKey(const QString& name, qint32 number)
{
    return number == 0 ? name : name + QLatin1Char(':') + Str(number);
}

void InternetHeaders::removeKey(const QString& key)
{
    _Headers.Remove(key);
    const qsizetype colon = key.indexOf(QLatin1Char(':'));
    if (colon < 0)
        return;
    bool ok = false;
    const qint32 n = QStringView(key).mid(colon + 1).toInt(&ok);
    if (!ok || n < 1)
        return;
    const auto it = m_runEnd.find(asciiLower(key.left(colon)));
    if (it != m_runEnd.end() && n < *it)
        *it = n;
}

qint32 InternetHeaders::Count() const
{
    return qint32(_Headers.Count());
}

QString InternetHeaders::Name(qint32 index) const
{
    return NthField(_Headers.Key(index), QStringLiteral(":"), 1);
}

qint32 InternetHeaders::NameCount(const QString& name) const
{
    if (!_Headers.HasKey(name))
        return 0;
    if (name.contains(QLatin1Char(':'))) {
        qint32 n = 1;
        while (_Headers.HasKey(key(name, n)))
            ++n;
        return n;
    }
    const QString folded = asciiLower(name);
    qint32 n = m_runEnd.value(folded, 1);
    while (_Headers.HasKey(key(name, n)))
        ++n;
    m_runEnd.insert(folded, n);
    return n;
}

QString InternetHeaders::Source() const
{
    if (!_rawHeaders.isEmpty())
        return _rawHeaders;
    return _FormatHTTPHeaders();
}

QString InternetHeaders::Value(const QString& name) const
{
    return Value(name, 0);
}

QString InternetHeaders::Value(const QString& name, qint32 number) const
{
    return _Headers.Value(key(name, number));
}

QString InternetHeaders::Value(qint32 index) const
{
    if (index < 0 || index >= _Headers.Count())
        return QString();
    return _Headers.ValueAt(index);
}

void InternetHeaders::_ParseHeaders(const QString& text)
{
    _rawHeaders = text;
    const QString eol = _DetermineEOLCharacter(text);
    _Headers.Clear();
    m_runEnd.clear();
    for (const QString& line : Split(unfold(text, eol), eol)) {
        const qsizetype colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0)
            continue;
        AppendHeader(line.left(colon), LTrim(line.mid(colon + 1)));
    }
}

void InternetHeaders::AppendHeader(const QString& name, const QString& value)
{
    if (!_Headers.HasKey(name)) {
        _Headers.setValue(name, value);
        return;
    }
    // The first free number after the name's part before its first colon.
    const QString base = NthField(name, QStringLiteral(":"), 1);
    const QString folded = asciiLower(base);
    qint32 n = m_runEnd.value(folded, 1);
    QString k;
    while (_Headers.HasKey(k = base + QLatin1Char(':') + Str(n)))
        ++n;
    _Headers.setValue(k, value);
    m_runEnd.insert(folded, n + 1);
}

void InternetHeaders::SetHeader(const QString& name, const QString& value)
{
    if (NameCount(name) >= 2)
        Delete(name);
    _Headers.setValue(name, value);
}

void InternetHeaders::SetHeader(const QString& name, const QString& value, qint32 number)
{
    const QString k = changeKey(name, number);
    if (_Headers.HasKey(k))
        _Headers.setValue(k, value);
    else
        AppendHeader(k, value);
}

void InternetHeaders::Delete(const QString& name)
{
    const qint32 count = NameCount(name);
    if (count <= 0)
        return;
    for (qint32 n = 0; n < count; ++n)
        removeKey(key(name, n));
}

void InternetHeaders::Delete(const QString& name, qint32 number)
{
    const QString k = changeKey(name, number);
    if (!_Headers.HasKey(k))
        return;
    removeKey(k);
    // Close the gap: every later number moves down by one.
    for (qint64 n = qint64(number) + 1;; ++n) {
        const QString next = name + QLatin1Char(':') + Str(n);
        if (!_Headers.HasKey(next))
            return;
        _Headers.setValue(n - 1 == 0 ? name : name + QLatin1Char(':') + Str(n - 1), _Headers.Value(next));
        removeKey(next);
    }
}

QString InternetHeaders::CommaSeparatedValues(const QString& name) const
{
    const qint32 count = NameCount(name);
    if (count == 1)
        return Value(name); // shared, not copied: address lists grow one address at a time
    QString out;
    for (qint32 n = 0; n < count; ++n) {
        if (n > 0)
            out += QStringLiteral(", ");
        out += Value(name, n);
    }
    return out;
}

QString InternetHeaders::unfold(const QString& text, const QString& eol)
{
    return ReplaceAll(
        ReplaceAll(text, eol + QLatin1Char(' '), QStringLiteral(" ")), eol + QLatin1Char('\t'), QStringLiteral(" "));
}

QString InternetHeaders::_DetermineEOLCharacter(const QString& text)
{
    if (text.contains(kCRLF))
        return kCRLF;
    if (text.contains(QLatin1Char('\n')))
        return QStringLiteral("\n");
    if (text.contains(QLatin1Char('\r')))
        return QStringLiteral("\r");
    return kCRLF;
}

void InternetHeaders::DeleteAllHeaders()
{
    _Headers.Clear();
    m_runEnd.clear();
}

QString InternetHeaders::_FormatHTTPHeaders() const
{
    QString out;
    for (qsizetype i = 0; i < _Headers.Count(); ++i) {
        if (i > 0)
            out += kCRLF;
        out += NthField(_Headers.Key(i), QStringLiteral(":"), 1) + QStringLiteral(": ") + _Headers.ValueAt(i);
    }
    return out;
}

QString InternetHeaders::_FormatEmailHeaders() const
{
    QString out;
    auto line
        = [&out](const QString& name, const QString& value) { out += kCRLF + name + QStringLiteral(": ") + value; };
    if (_Headers.HasKey(QStringLiteral("Return-Path")))
        line(QStringLiteral("Return-Path"), Value(QStringLiteral("Return-Path")));
    const qint32 received = NameCount(QStringLiteral("Received"));
    for (qint32 n = 0; n < received; ++n)
        line(QStringLiteral("Received"), Value(QStringLiteral("Received"), n));
    for (const char* name : {"Date", "Subject", "From"}) {
        if (_Headers.HasKey(QLatin1String(name)))
            line(QLatin1String(name), Value(QLatin1String(name)));
    }
    // BCC is listed and has no line of its own: that keeps blind copies out of the message.
    for (const char* name : {"To", "CC"}) {
        if (NameCount(QLatin1String(name)) > 0)
            line(QLatin1String(name), CommaSeparatedValues(QLatin1String(name)));
    }
    const QString listed = QStringLiteral(":Date:Subject:From:To:CC:BCC:Received:Return-Path:");
    for (qsizetype i = 0; i < _Headers.Count(); ++i) {
        const QString name = NthField(_Headers.Key(i), QStringLiteral(":"), 1);
        if (InStr(listed, QLatin1Char(':') + name + QLatin1Char(':')) == 0)
            line(name, _Headers.ValueAt(i));
    }
    return out.mid(kCRLF.size());
}
