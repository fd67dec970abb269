#include "plan/unit_text.h"

namespace Core {

namespace {

bool belongsToInstallSection(const QString &key) { return key == QLatin1String("WantedBy"); }

} // namespace

QByteArray unitText(const QString &taskId, const UnitValues &settings)
{
    QString serviceText;
    QString installText;
    for (auto it = settings.cbegin(); it != settings.cend(); ++it) {
        QString &text = belongsToInstallSection(it.key()) ? installText : serviceText;
        text += it.key() + QLatin1Char('=') + textOf(it.value()) + QLatin1Char('\n');
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

} // namespace Core
