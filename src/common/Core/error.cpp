#include "common/Core/error.h"

#include <utility>

namespace Core {

Error::Error(qint32 code, QString message)
    : m_code(code)
    , m_message(std::move(message))
{
}

QDebug operator<<(QDebug debug, const Error &error)
{
    QDebugStateSaver saver(debug);
    debug.nospace() << "Error(" << error.code() << ", " << error.message() << ")";
    return debug;
}

} // namespace Core
