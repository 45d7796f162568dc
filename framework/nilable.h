#pragma once

#include "exceptions.h"

#include <optional>

// A reference that may be nil, as the framework's objects are: reaching through a nil one raises
// NilObjectException, which nothing catches before the last-resort handler.
template <typename T> class Nilable
{
public:
    Nilable() = default;
    Nilable(T value)
        : m_value(std::move(value))
    {
    }
    explicit operator bool() const { return m_value.has_value(); }
    const T& operator*() const { return get(); }
    const T* operator->() const { return &get(); }

private:
    const T& get() const
    {
        if (!m_value)
            throw NilObjectException();
        return *m_value;
    }
    std::optional<T> m_value;
};
