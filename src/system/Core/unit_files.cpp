#include "system/Core/unit_files.h"

#include "common/atomic_file.h"
#include "common/root_path.h"

#include <QDebug>
#include <QVariant>

namespace Core {

namespace {

QString unitSuffix() { return QStringLiteral(".service"); }

bool belongsToInstallSection(const QString &key) { return key == QLatin1String("WantedBy"); }

} // namespace

QString taskUnitPrefix() { return QStringLiteral("ov_task."); }

QString unitNameOf(const QString &taskId) { return taskUnitPrefix() + taskId + unitSuffix(); }

QString taskIdOfUnit(const QString &unitName)
{
    // Callers see only units that were asked for by the prefix.
    const QString name = unitName.mid(taskUnitPrefix().size());
    return name.endsWith(unitSuffix()) ? name.chopped(unitSuffix().size()) : QString();
}

QString unitFilePath(const QString &taskId)
{
    return rootPrefix() + QLatin1String("/etc/systemd/system/") + unitNameOf(taskId);
}

QString policyFilePath(const QString &taskId)
{
    return rootPrefix() + QLatin1String("/etc/dbus-1/system.d/") + taskId + QLatin1String(".conf");
}

// Values are neither quoted nor escaped: what holds a blank is several words to systemd.
QString propertyText(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QStringList:
        return value.toStringList().join(QLatin1Char(' '));
    case QMetaType::UChar:
        // A decimal number: the framework would turn a byte into a character.
        return QString::number(value.toUInt());
    default:
        return value.toString();
    }
}

QByteArray unitFileText(const QString &taskId, const QVariantMap &properties)
{
    QString serviceText;
    QString installText;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        QString &text = belongsToInstallSection(it.key()) ? installText : serviceText;
        text += it.key() + QLatin1Char('=') + propertyText(it.value()) + QLatin1Char('\n');
    }
    const QString text = QLatin1String("[Unit]\n"
                                       "Description=Background task for ")
        + taskId
        + QLatin1String("\n"
                        "After=sailjail-prepare-binds.service\n"
                        "\n"
                        "[Service]\n")
        + serviceText
        + QLatin1String("\n"
                        "[Install]\n")
        + installText;
    return text.toUtf8();
}

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

bool writeUnitFile(const QString &taskId, const QVariantMap &properties)
{
    const QString path = unitFilePath(taskId);
    const FileWrite result = writeFileAtomically(path, unitFileText(taskId, properties));
    if (result == FileWrite::Incomplete)
        qWarning() << "Could not write file:" << path;
    return result == FileWrite::Written;
}

} // namespace Core
