#include "common/client_text.h"

QDebug operator<<(QDebug debug, const ClientText &text)
{
    constexpr int longest = 200;
    QString escaped;
    // Escaping makes a text longer, never shorter.
    QDebug(&escaped).nospace() << text.m_text.left(longest);
    constexpr int quotes = 2;
    const bool isCut = text.m_text.size() > longest || escaped.size() > longest + quotes;
    if (isCut)
        escaped = escaped.left(longest + 1) + QStringLiteral("\"...");
    const QDebugStateSaver saver(debug);
    debug.nospace().noquote() << escaped;
    return debug.maybeSpace();
}
