#include "plan/policy_text.h"

#include <QRegularExpression>

namespace Core {

namespace {

// Takes texts that are already escaped for XML.
QByteArray policyTextOf(const QString &busName, const QString &user)
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
    // A single call, so that a placeholder inside the bus name is not replaced.
    return text.arg(busName, user).toUtf8();
}

} // namespace

QByteArray policyText(const QString &busName, const QString &user)
{
    return policyTextOf(busName.toHtmlEscaped(), user.toHtmlEscaped());
}

bool isPolicyText(const QByteArray &text)
{
    static const QRegularExpression values(
        QStringLiteral("<policy user=\"([^\"<>]+)\">\\n    <allow own=\"([^\"<>]+)\"/>"));
    const QRegularExpressionMatch match = values.match(QString::fromUtf8(text));
    return match.hasMatch() && text == policyTextOf(match.captured(2), match.captured(1));
}

} // namespace Core
