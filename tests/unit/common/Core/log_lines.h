#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Collects what is logged while it lives, so that a test can tell silence from a line that nobody
/// asked for. One at a time.
class LogLines
{
public:
    LogLines()
    {
        lines().clear();
        m_previous = qInstallMessageHandler(&LogLines::keep);
    }
    ~LogLines() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY(LogLines)

    [[nodiscard]] QStringList taken() const { return lines(); }

private:
    static QStringList &lines()
    {
        static QStringList kept;
        return kept;
    }
    static void keep(QtMsgType, const QMessageLogContext &, const QString &text)
    {
        lines().append(text);
    }

    QtMessageHandler m_previous = nullptr;
};
