#pragma once

#include "chaos/scene.h"

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QStringList>

#include <random>
#include <vector>

namespace Chaos {

/// Clients that call the daemon, and an account of what each of them is answered.
class Callers
{
public:
    /// Who may answer besides the daemon.
    enum class Others {
        /// The bus, that this client has too many calls open.
        Full,
        /// The bus also when the daemon has left or its peers have.
        Anything,
    };

    /// @param scene, random have to live as long as this object.
    Callers(Scene &scene, std::mt19937 &random);
    ~Callers();
    Q_DISABLE_COPY(Callers)

    /// Lets so many more clients connect to the bus.
    void add(int count);
    /// One of the clients, drawn by chance, calls.
    void ask(const QDBusMessage &call);
    /// One of the clients, drawn by chance, leaves, whatever it has been answered.
    void dropOne();
    void dropAll();
    [[nodiscard]] int count() const { return int(m_clients.size()); }
    /// How many calls were made so far, those of clients that have left included.
    [[nodiscard]] int calls() const { return m_calls; }
    /// How many calls of those who are there have no answer yet.
    [[nodiscard]] int open() const;
    /// Waits until every call has an answer.
    /// @return what is wrong with the answers: a call has none, the client gave up, or somebody was
    ///     sent more than one answer to a call.
    [[nodiscard]] QStringList faults(Others others = Others::Full);

private:
    struct Client
    {
        QDBusConnection connection;
        std::vector<QDBusPendingCall> calls;
    };

    void drop(Client &client);
    [[nodiscard]] QStringList faultsOf(const Client &client, Others others);

    Scene &m_scene;
    std::mt19937 &m_random;
    std::vector<Client> m_clients;
    int m_calls = 0;
};

} // namespace Chaos
