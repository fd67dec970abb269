#include "support/confined.h"

#include <QProcess>

namespace Bench {

QString systemctl(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("systemctl"), arguments);
    process.waitForFinished(-1);
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

qint64 mainPid(const QString &unit)
{
    return systemctl({QStringLiteral("show"), QStringLiteral("--value"), QStringLiteral("-p"),
                      QStringLiteral("MainPID"), unit})
        .toLongLong();
}

} // namespace Bench
