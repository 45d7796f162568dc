#pragma once

#include "date.h"

#include <QString>
#include <memory>
#include <variant>

// The root of the object layer's classes, so that a Variant can hold any of them.
class Object
{
public:
    virtual ~Object() = default;
};

// A value that holds nothing, an Integer, a Double, a Date, a String or an object. The kinds are
// the ones the address book layer passes around; VarType gives their codes.
class Variant
{
public:
    enum Type { TypeNil = 0, TypeInteger = 2, TypeDouble = 5, TypeDate = 7, TypeString = 8, TypeObject = 9 };

    Variant() = default;
    Variant(qint32 value)
        : m_value(value)
    {
    }
    Variant(double value)
        : m_value(value)
    {
    }
    Variant(const Date& value)
        : m_value(value)
    {
    }
    Variant(const QString& value)
        : m_value(value)
    {
    }
    Variant(const char* value)
        : m_value(QString::fromUtf8(value))
    {
    }
    Variant(std::shared_ptr<Object> value)
        : m_value(std::move(value))
    {
    }

    int VarType() const;
    bool IsNull() const { return VarType() == TypeNil; }
    qint32 IntegerValue() const;
    double DoubleValue() const;
    // The text of the value, as the framework shows it; empty for nothing or an object.
    QString StringValue() const;
    // The Date held, or the present moment for any other kind.
    Date DateValue() const;
    std::shared_ptr<Object> ObjectValue() const;
    template <class T> std::shared_ptr<T> ObjectAs() const { return std::dynamic_pointer_cast<T>(ObjectValue()); }

private:
    std::variant<std::monostate, qint32, double, Date, QString, std::shared_ptr<Object>> m_value;
};

// The framework's name for the type code.
inline int VarType(const Variant& v)
{
    return v.VarType();
}
