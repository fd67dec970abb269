#pragma once

#include <QByteArray>
#include <QDBusMetaType>
#include <QMetaType>
#include <QProcess>

#include <functional>
#include <utility>

// What Qt 5 and Qt 6 have under different names. Only this file asks which of them it is compiled
// with.

/// The number of the type that is registered by this name; QMetaType::UnknownType when none is.
inline int typeNamed(const QByteArray &name)
{
#if QT_VERSION_MAJOR < 6
    return QMetaType::type(name);
#else
    return QMetaType::fromName(name).id();
#endif
}

/// How values of the type with this number travel over the bus; empty when they do not.
inline QByteArray signatureOf(int type)
{
#if QT_VERSION_MAJOR < 6
    return QDBusMetaType::typeToSignature(type);
#else
    return QDBusMetaType::typeToSignature(QMetaType(type));
#endif
}

/// A process whose child does something before it becomes the program.
class PreparedProcess : public QProcess
{
public:
    /// @param prepare is called in the child, between fork() and exec(), and may call only what a
    /// signal handler may.
    explicit PreparedProcess(std::function<void()> prepare)
#if QT_VERSION_MAJOR < 6
        : m_prepare(std::move(prepare))
    {
    }

protected:
    void setupChildProcess() override { m_prepare(); }

private:
    const std::function<void()> m_prepare;
#else
    {
        setChildProcessModifier(std::move(prepare));
    }
#endif
};
