// The vCard reader: any bytes from a file in the user's address book folders; and the writer: every
// property read, written anew as the address book writes a changed one, reads back as itself.
#include "vcard.h"

#include "exceptions.h"
#include "fuzz.h"

namespace {

using vcard::Version;

bool writable(const QByteArray& name, bool group)
{
    for (const char c : name) {
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-'
                || (group && c == '.')))
            return false;
    }
    return group || !name.isEmpty();
}

QList<vcard::Param> withoutEncoding(QList<vcard::Param> params)
{
    params.removeIf([](const vcard::Param& p) { return p.name == "ENCODING" || p.name == "CHARSET"; });
    return params;
}

// Only 2.1 (quoted-printable) keeps a blank at the end of a value, or a carriage return.
QString expectedText(QString text, Version v)
{
    if (v == Version::V21)
        return text;
    text.remove(QLatin1Char('\r')).remove(QChar(0));
    // Only the ASCII blanks: U+030B, say, is not a vertical tab.
    while (!text.isEmpty() && text.back().unicode() < 0x80
        && QByteArrayView(" \t\v\f").contains(char(text.back().unicode())))
        text.chop(1);
    return text;
}

void roundTrip(const vcard::Property& p, Version v, const QByteArray& eol)
{
    vcard::Property q;
    q.group = p.group;
    q.name = p.name;
    q.params = withoutEncoding(p.params);
    const QString text = p.text(v);
    q.value = vcard::escapeText(text, v);
    bool ok = writable(q.name, false) && writable(q.group, true) && q.name != "BEGIN" && q.name != "END";
    for (const vcard::Param& param : q.params)
        ok = ok && writable(param.name, false);
    QByteArray lines;
    try {
        lines = vcard::formatProperty(q, v, eol);
    } catch (const RuntimeException&) {
        FUZZ_CHECK(!ok);
        return;
    }
    FUZZ_CHECK(ok);
    const vcard::File again
        = vcard::parse("BEGIN:VCARD" + eol + "VERSION:" + vcard::versionText(v) + eol + lines + "END:VCARD" + eol);
    FUZZ_CHECK(again.clean && again.cards.size() == 1 && again.cards[0]->complete);
    FUZZ_CHECK(again.cards[0]->props.size() == 2);
    const vcard::Property& r = again.cards[0]->props[1];
    FUZZ_CHECK(r.group == q.group && r.name == q.name);
    const QList<vcard::Param> params = withoutEncoding(r.params);
    FUZZ_CHECK(params.size() == q.params.size());
    for (qsizetype i = 0; i < params.size(); ++i) {
        QList<QByteArray> values = q.params[i].values;
        for (qsizetype j = 0; j < values.size(); ++j) {
            // A NUL is dropped: it comes only from a file that is never written again. 2.1 and 3.0 have no
            // escape for a quote, so a value that no quoting reads back as itself (say "a,b" with its quotes)
            // loses its quotes, and nothing else.
            values[j].replace('\0', "");
            if (v != Version::V40 && params[i].values.value(j) != values[j])
                values[j].replace('"', "");
        }
        FUZZ_CHECK(params[i].name == q.params[i].name && params[i].values == values);
    }
    FUZZ_CHECK(r.text(v) == expectedText(text, v));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const vcard::File file = vcard::parse(bytes);
    FUZZ_CHECK(file.gaps.size() == file.cards.size() + 1);
    // A file read cleanly is kept byte for byte, so writing it back unchanged loses nothing.
    if (file.clean) {
        QByteArray again = file.gaps.first();
        for (qsizetype i = 0; i < file.cards.size(); ++i)
            again += file.cards[i]->raw() + file.gaps[i + 1];
        FUZZ_CHECK(again == bytes);
    }
    for (const auto& card : file.cards) {
        for (const vcard::Property& p : card->props) {
            p.components(card->version);
            roundTrip(p, card->version, file.eol);
        }
    }
    return 0;
}
