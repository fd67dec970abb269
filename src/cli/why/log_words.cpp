#include "cli/why/log_words.h"

#include <QStringList>

namespace Cli {

namespace {

QStringList textsOf(const LogEnd &log, bool ofSystemd)
{
    QStringList texts;
    for (const LogLine &line : log.lines) {
        if (line.isSystemds == ofSystemd)
            texts.append(line.text.trimmed());
    }
    return texts;
}

} // namespace

QString wordsOf(const LogEnd &log)
{
    const QString prefix = QStringLiteral("; its log: ");
    if (!log.reason.isEmpty())
        return prefix + log.reason;
    const QStringList own = textsOf(log, false);
    const QStringList texts = own.isEmpty() ? textsOf(log, true) : own;
    return texts.isEmpty() ? QString() : prefix + texts.join(QStringLiteral(" | "));
}

} // namespace Cli
