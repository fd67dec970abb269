#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

/// Collects log lines while it exists, so that a test can check that nothing else is logged. One
/// instance at a time.
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
