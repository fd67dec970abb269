#include "plan/policy_text.h"

namespace Core {

QByteArray policyText(const QString &busName, const QString &user)
{
    const QString text =
        QStringLiteral("<!DOCTYPE busconfig PUBLIC \n"
                       "  \"-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN\"\n"
                       "  \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
                       "\n"
                       "  <busconfig>\n"
                       "  <policy user=\"%2\">\n"
                       "    <allow own=\"%1\"/>\n"
                       "  </policy>\n"
                       "\n"
                       "  <policy context=\"default\">\n"
                       "    <allow send_destination=\"%1\"/>\n"
                       "  </policy>\n"
                       "</busconfig>\n");
    // Both in one call, so that a placeholder inside the bus name stays as it is.
    return text.arg(busName.toHtmlEscaped(), user.toHtmlEscaped()).toUtf8();
}

} // namespace Core
