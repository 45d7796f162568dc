#include "matcher.h"

#include <optional>

namespace abplatform {
namespace {

// The comparisons that text and numbers share; none for the rest, which each kind answers itself.
template <typename T> std::optional<bool> ordered(int comparison, const T& a, const T& q)
{
    switch (comparison) {
    case kEqual:
        return a == q;
    case kLessThan:
        return a < q;
    case kLessThanOrEqual:
        return a <= q;
    case kGreaterThan:
        return a > q;
    case kGreaterThanOrEqual:
        return a >= q;
    default:
        return std::nullopt;
    }
}

// One search element against one record: text compares as text, numbers and dates as numbers; a
// list matches when one of its entries does, a dictionary when one of its values does.
class Matcher
{
public:
    explicit Matcher(const SearchElement& e)
        : m_e(e)
    {
        const int c = e.comparison;
        m_negative = c == kNotEqual || c == kDoesNotContainSubString || c == kDoesNotContainSubStringCaseInsensitive
            || c == kNotEqualCaseInsensitive;
        m_comparison = c >= kEqual && c <= kSuffixMatchCaseInsensitive ? positiveOf(SearchComparison(c)) : -1;
        m_query = platform().text(e.value);
        if (const auto* n = platform().table.as<Number>(e.value))
            m_number = n->value;
        else if (const auto* d = platform().table.as<DateValue>(e.value))
            m_number = d->seconds;
    }

    bool matches(const Record& r) const
    {
        bool any = false;
        const Taken held(r.copy(m_e.property));
        if (const auto* mv = platform().table.as<MultiValue>(held.handle())) {
            for (const MultiValue::Entry& entry : mv->entries) {
                if (m_e.label.isNull() || platform().text(entry.label) == m_e.label)
                    any = any || value(entry.value);
            }
        } else {
            any = value(held.handle());
        }
        return any != m_negative;
    }

private:
    static int positiveOf(SearchComparison c)
    {
        switch (c) {
        case kNotEqual:
            return kEqual;
        case kDoesNotContainSubString:
            return kContainsSubString;
        case kDoesNotContainSubStringCaseInsensitive:
            return kContainsSubStringCaseInsensitive;
        case kNotEqualCaseInsensitive:
            return kEqualCaseInsensitive;
        default:
            return c;
        }
    }

    bool value(qint32 h) const
    {
        if (const auto* d = platform().table.as<Dictionary>(h)) {
            for (const auto& [k, v] : d->entries) {
                if ((m_e.key.isNull() || platform().text(k) == m_e.key) && value(v))
                    return true;
            }
            return false;
        }
        if (const auto* s = platform().table.as<String>(h))
            return text(s->text);
        if (const auto* n = platform().table.as<Number>(h))
            return number(n->value);
        if (const auto* d = platform().table.as<DateValue>(h))
            return number(d->seconds);
        return false;
    }

    bool text(const QString& a) const
    {
        if (m_query.isNull())
            return false;
        const QString& q = m_query;
        if (const auto shared = ordered(m_comparison, a, q))
            return *shared;
        switch (m_comparison) {
        case kEqualCaseInsensitive:
            return a.compare(q, Qt::CaseInsensitive) == 0;
        case kContainsSubString:
            return a.contains(q);
        case kContainsSubStringCaseInsensitive:
            return a.contains(q, Qt::CaseInsensitive);
        case kPrefixMatch:
            return a.startsWith(q);
        case kPrefixMatchCaseInsensitive:
            return a.startsWith(q, Qt::CaseInsensitive);
        case kSuffixMatch:
            return a.endsWith(q);
        case kSuffixMatchCaseInsensitive:
            return a.endsWith(q, Qt::CaseInsensitive);
        default:
            return false;
        }
    }

    bool number(double a) const
    {
        if (!m_number)
            return false;
        const double q = *m_number;
        if (const auto shared = ordered(m_comparison, a, q))
            return *shared;
        switch (m_comparison) {
        case kBitsInBitFieldMatch:
            return (qint64(a) & qint64(q)) == qint64(q);
        default:
            return false;
        }
    }

    const SearchElement& m_e;
    bool m_negative = false;
    int m_comparison = -1;
    QString m_query;
    std::optional<double> m_number;
};

} // namespace

bool matches(qint32 element, const Record& r, int depth)
{
    const auto* e = platform().table.as<SearchElement>(element);
    if (!e || depth > 64)
        return false;
    if (e->conjunction < 0)
        return Matcher(*e).matches(r);
    for (qint32 child : e->children) {
        const bool m = matches(child, r, depth + 1);
        if (e->conjunction == kSearchOr && m)
            return true;
        if (e->conjunction != kSearchOr && !m)
            return false;
    }
    return e->conjunction != kSearchOr && !e->children.isEmpty();
}

} // namespace abplatform
