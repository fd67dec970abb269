#include "cli/lint/entry_text.h"

#include <QTextCodec>

#include <algorithm>

namespace Cli {

namespace {

bool isUtf8(const QByteArray &text)
{
    QTextCodec::ConverterState state;
    (void)QTextCodec::codecForName("UTF-8")->toUnicode(text.constData(), text.size(), &state);
    return state.invalidChars == 0 && state.remainingChars == 0;
}

bool isAscii(const QByteArray &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

} // namespace

QVector<EntryLine> entryLines(const QByteArray &text)
{
    QVector<EntryLine> lines;
    QString group;
    int number = 0;
    for (const QByteArray &raw : text.split('\n')) {
        ++number;
        const QByteArray line = raw.trimmed();
        const int close = line.lastIndexOf(']');
        const int equals = line.indexOf('=');
        if (line.startsWith('[') && close > 0) {
            group = QString::fromUtf8(line.mid(1, close - 1));
            lines.append({group, {}, {}, number});
        } else if (equals > 0 && !line.startsWith('#')) {
            lines.append({group, QString::fromUtf8(line.left(equals).trimmed()),
                          QString::fromUtf8(line.mid(equals + 1).trimmed()), number});
        }
    }
    return lines;
}

int firstLineOfOtherBytes(const QByteArray &text)
{
    // Nearly every file is one of these.
    if (isAscii(text) || isUtf8(text))
        return 0;
    int number = 0;
    for (const QByteArray &line : text.split('\n')) {
        ++number;
        if (!isUtf8(line))
            return number;
    }
    return 0;
}

} // namespace Cli
