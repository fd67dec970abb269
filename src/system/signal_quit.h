#pragma once

#include <QObject>

/// Turns SIGTERM and SIGINT into a call of QCoreApplication::quit() from the event loop. The
/// handler itself only writes to an event descriptor that the loop watches, so a signal that
/// arrives before the loop runs ends it as soon as it does. One instance at a time; needs the
/// application object. Once gone it leaves the signals ignored.
class SignalQuit : public QObject
{
    Q_OBJECT

public:
    explicit SignalQuit(QObject *parent = nullptr);
    ~SignalQuit() override;
};
