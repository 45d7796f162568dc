#pragma once

#include <QString>
#include <exception>
#include <functional>

// The framework's exception classes. Nothing in the program catches them on purpose:
// they end at the last-resort handler, which shows the message and keeps the program running.
class RuntimeException : public std::exception
{
public:
    explicit RuntimeException(QString message = QString())
        : m_message(std::move(message))
        , m_what(m_message.toUtf8())
    {
    }
    const QString& Message() const { return m_message; }
    const char* what() const noexcept override { return m_what.constData(); }

private:
    QString m_message;
    QByteArray m_what;
};

class NilObjectException : public RuntimeException
{
public:
    explicit NilObjectException(QString message = QStringLiteral("NilObjectException"))
        : RuntimeException(std::move(message))
    {
    }
};

class OutOfBoundsException : public RuntimeException
{
public:
    explicit OutOfBoundsException(QString message = QStringLiteral("OutOfBoundsException"))
        : RuntimeException(std::move(message))
    {
    }
};

class UnsupportedFormatException : public RuntimeException
{
public:
    explicit UnsupportedFormatException(QString message = QStringLiteral("UnsupportedFormatException"))
        : RuntimeException(std::move(message))
    {
    }
};

// Where an exception that nothing caught ends. The window-free code only hands it on: the widgets part
// installs the last-resort handler, which shows it; until one is installed it goes to standard error.
void ReportUnhandledException(const std::exception& e);
void setUnhandledExceptionReporter(std::function<void(const std::exception&)> reporter);
// "An exception of class <class> was not handled." and the exception's message on the next line.
QString UnhandledExceptionText(const std::exception& e);
