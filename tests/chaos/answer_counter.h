#pragma once

#include <QHash>
#include <QString>

struct DBusConnection;
struct DBusMessage;

namespace Chaos {

/// Listens to everything on a bus and counts the answers that each client is sent. The client's own
/// library would not tell of a second one.
class AnswerCounter
{
public:
    explicit AnswerCounter(const QString &busAddress);
    ~AnswerCounter();
    Q_DISABLE_COPY(AnswerCounter)

    /// How many answers a client was sent by others than the bus since forget().
    /// @param client its unique name.
    [[nodiscard]] int answersTo(const QString &client);
    void forget();

private:
    void takeWhatCame();
    static int onMessage(DBusConnection *connection, DBusMessage *message, void *counter);

    DBusConnection *m_connection = nullptr;
    QHash<QString, int> m_answers;
};

} // namespace Chaos
