#include "platform.h"

namespace abplatform {

namespace {
struct Keys
{
    std::deque<QString> texts; // a deque, so that a text stays where it is while more are added
    QHash<QString, qint32> ids;
};

Keys& keys()
{
    static Keys k;
    return k;
}
} // namespace

qint32 keyId(const QString& key)
{
    Keys& k = keys();
    const auto it = k.ids.constFind(key);
    if (it != k.ids.cend())
        return *it;
    const qint32 id = qint32(k.texts.size());
    k.texts.push_back(key);
    k.ids.insert(key, id);
    return id;
}

const QString& keyText(qint32 id)
{
    return keys().texts[size_t(id)];
}

Table::~Table()
{
    // Values hold only handles, so they can go in any order.
    m_slots.clear();
}

qint32 Table::add(std::unique_ptr<Value> value, bool owned)
{
    qint32 handle = m_free;
    if (handle) {
        m_free = m_slots[size_t(handle - 1)].refs;
    } else {
        m_slots.emplace_back();
        handle = qint32(m_slots.size());
    }
    Slot& s = m_slots[size_t(handle - 1)];
    s.value = std::move(value);
    s.refs = owned ? 0 : 1;
    s.owned = owned ? 1 : 0;
    m_owned += s.owned;
    ++m_live;
    return handle;
}

Table::Slot* Table::slot(qint32 handle)
{
    if (handle <= 0 || size_t(handle) > m_slots.size())
        return nullptr;
    Slot& s = m_slots[size_t(handle - 1)];
    return s.value ? &s : nullptr;
}

Value* Table::get(qint32 handle) const
{
    if (handle <= 0 || size_t(handle) > m_slots.size())
        return nullptr;
    return m_slots[size_t(handle - 1)].value.get();
}

void Table::retain(qint32 handle)
{
    if (Slot* s = slot(handle))
        ++s->refs;
}

void Table::release(qint32 handle)
{
    Slot* s = slot(handle);
    if (!s || immortal(*s) || s->refs <= 0)
        return;
    --s->refs;
    if (s->refs == 0 && s->owned == 0)
        drop(handle);
}

void Table::retainOwned(qint32 handle)
{
    Slot* s = slot(handle);
    if (!s || immortal(*s))
        return;
    ++s->owned;
    ++m_owned;
}

void Table::releaseOwned(qint32 handle)
{
    Slot* s = slot(handle);
    if (!s || immortal(*s) || s->owned <= 0)
        return;
    --s->owned;
    --m_owned;
    if (s->refs == 0 && s->owned == 0)
        drop(handle);
}

void Table::makeImmortal(qint32 handle)
{
    if (Slot* s = slot(handle)) {
        m_owned -= s->owned;
        s->owned = kImmortal;
    }
}

// Frees the value and gives back what it held, without recursion, so that long chains cannot
// exhaust the stack.
void Table::drop(qint32 first)
{
    QList<qint32> pending{first};
    while (!pending.isEmpty()) {
        const qint32 handle = pending.takeLast();
        Slot* s = slot(handle);
        if (!s)
            continue;
        std::unique_ptr<Value> value = std::move(s->value);
        s->refs = m_free;
        s->owned = 0;
        m_free = handle;
        --m_live;
        QList<qint32> held;
        switch (value->kind) {
        case Kind::Array:
            if (static_cast<Array*>(value.get())->retains)
                held = static_cast<Array*>(value.get())->items;
            break;
        case Kind::Dictionary:
            for (const auto& [k, v] : static_cast<Dictionary*>(value.get())->entries)
                held << k << v;
            break;
        case Kind::MultiValue:
            for (const auto& e : static_cast<MultiValue*>(value.get())->entries)
                held << e.value << e.label << e.identifier;
            break;
        case Kind::Person:
        case Kind::Group: {
            auto* r = static_cast<Record*>(value.get());
            if (r->values) {
                for (const auto& kv : *r->values)
                    held << kv.second;
            }
            if (r->kind == Kind::Person)
                held << static_cast<Person*>(r)->image;
            else
                held << static_cast<Group*>(r)->members << static_cast<Group*>(r)->subgroups;
            break;
        }
        case Kind::SearchElement:
            held << static_cast<SearchElement*>(value.get())->value
                 << static_cast<SearchElement*>(value.get())->children;
            break;
        default:
            break;
        }
        for (qint32 h : held) {
            Slot* c = slot(h);
            if (!c || immortal(*c) || c->refs <= 0)
                continue;
            if (--c->refs == 0 && c->owned == 0)
                pending.append(h);
        }
    }
}

QString constantText(Constant c)
{
    // Made once: every property lookup asks for its key's text, so a large book asks millions of times.
    static const std::array<QString, kConstantCount> texts = [] {
        const char* const latin[kConstantCount] = {
#define AB_TEXT(name, text) text,
            AB_CONSTANTS(AB_TEXT)
#undef AB_TEXT
        };
        std::array<QString, kConstantCount> out;
        for (int i = 0; i < kConstantCount; ++i)
            out[size_t(i)] = QString::fromLatin1(latin[i]);
        return out;
    }();
    return texts[size_t(c)];
}

Platform::Platform()
{
    QHash<QString, qint32> made;
    for (int c = 0; c < kConstantCount; ++c) {
        const QString t = constantText(Constant(c));
        qint32& h = made[t];
        if (!h) {
            h = newString(t, false);
            table.makeImmortal(h);
        }
        constants[size_t(c)] = h;
    }
}

QString Platform::text(qint32 handle) const
{
    const String* s = table.as<String>(handle);
    return s ? s->text : QString();
}

namespace {
std::unique_ptr<Platform>& instance()
{
    static std::unique_ptr<Platform> p;
    return p;
}
} // namespace

Platform& platform()
{
    if (!instance())
        instance() = std::make_unique<Platform>();
    return *instance();
}

void resetPlatform()
{
    instance().reset();
}

} // namespace abplatform
