#include "support/golden_plan.h"
#include "support/literals.h"

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
        QJsonDocument::fromJson(read(at + u"start.json"_s)).object().toVariantMap();
    if (start.isEmpty())
        qFatal("no start in %s", qPrintable(at));
    entry = read(at + u"entry.desktop"_s);
    file = start.value(u"file"_s).toString();
    task = start.value(u"task"_s).toString();
    program = start.value(u"program"_s).toString();
    permissions = start.value(u"permissions"_s).toStringList();
    info = start.value(u"info"_s).toMap();
    hints = start.value(u"hints"_s).toMap();
    unit = read(at + u"unit.service"_s);
    argv = QString::fromUtf8(read(at + u"argv"_s)).chopped(1).split(QLatin1Char('\n'));
    const QString policyFile = at + u"policy.conf"_s;
    if (QFile::exists(policyFile))
        policy = read(policyFile);
}

QByteArray GoldenPlan::unitWithoutPermissions() const
{
    const QRegularExpression option(
        u" --profile=/etc/sailjail/permissions/[A-Za-z]+\\.permission"_s);
    return QString::fromUtf8(unit).remove(option).toUtf8();
}
