#pragma once

#include "common/Core/error.h"

class QDBusError;

namespace DBus {

/// A Core::Error with the D-Bus error name of its code. Plain value, usable from any thread.
class Error : public Core::Error
{
public:
    /// Takes over code and message.
    explicit Error(const Core::Error &error);

    /// The D-Bus error name of the code. Codes without a name of their own, and unknown ones, give
    /// org.freedesktop.DBus.Error.Failed.
    [[nodiscard]] QString name() const;
};

/// The result of an outgoing call as a Core::Error. An invalid `error` is success. AccessDenied and
/// InvalidArgs keep their code, every other failure becomes Core::Error::Failed. The message is
/// kept.
[[nodiscard]] Core::Error fromCallError(const QDBusError &error);

} // namespace DBus
