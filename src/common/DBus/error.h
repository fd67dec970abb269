#pragma once

#include "common/Core/error.h"

class QDBusError;

namespace DBus {

/// A Core::Error as the bus sees it: adds the D-Bus error name that belongs to its code.
class Error : public Core::Error
{
public:
    explicit Error(const Core::Error &error);

    /// The D-Bus error name of the code; codes without a name of their own, out-of-range ones
    /// included, give the generic failure name.
    [[nodiscard]] QString name() const;
};

/// What a finished outgoing call says as a Core::Error: an invalid `error` is success; access
/// denied and invalid arguments keep their kind, every other failure is Core::Error::Failed. The
/// message is the D-Bus error's own.
[[nodiscard]] Core::Error fromCallError(const QDBusError &error);

} // namespace DBus
