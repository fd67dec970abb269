#include "support/golden_plan.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

namespace {

QString folder() { return QStringLiteral(GOLDEN_PLANS); }

QByteArray read(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    return file.readAll();
}

} // namespace

QStringList GoldenPlan::names()
{
    return QDir(folder()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
}

GoldenPlan::GoldenPlan(const QString &name)
{
    const QString at = folder() + QLatin1Char('/') + name + QLatin1Char('/');
    const QVariantMap start =
        QJsonDocument::fromJson(read(at + QStringLiteral("start.json"))).object().toVariantMap();
    if (start.isEmpty())
        qFatal("no start in %s", qPrintable(at));
    entry = read(at + QStringLiteral("entry.desktop"));
    file = start.value(QStringLiteral("file")).toString();
    task = start.value(QStringLiteral("task")).toString();
    program = start.value(QStringLiteral("program")).toString();
    permissions = start.value(QStringLiteral("permissions")).toStringList();
    info = start.value(QStringLiteral("info")).toMap();
    hints = start.value(QStringLiteral("hints")).toMap();
    unit = read(at + QStringLiteral("unit.service"));
    argv = QString::fromUtf8(read(at + QStringLiteral("argv"))).chopped(1).split(QLatin1Char('\n'));
    const QString policyFile = at + QStringLiteral("policy.conf");
    if (QFile::exists(policyFile))
        policy = read(policyFile);
}

QByteArray GoldenPlan::unitWithoutPermissions() const
{
    const QRegularExpression option(
        QStringLiteral(" --profile=/etc/sailjail/permissions/[A-Za-z]+\\.permission"));
    return QString::fromUtf8(unit).remove(option).toUtf8();
}
