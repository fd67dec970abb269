#pragma once

#include "support/literals.h"
#include "support/temp_root.h"

#include <QDBusMessage>
#include <QString>

#include <random>

namespace Chaos {

/// Calls by chance of everything that the daemon offers, right ones and wrong ones. They are about
/// a few applications, `com.example.App0` and so on, with one task each.
class RandomCalls
{
public:
    static constexpr int applications = 5;

    /// @param random has to live as long as this object.
    explicit RandomCalls(std::mt19937 &random)
        : m_random(random)
    {
    }

    /// Declares the applications and their tasks.
    static void declareApplications(const TempRoot &root);

    /// A number from 0, below another.
    int number(int below) { return int(m_random() % uint(below)); }
    QString application() { return u"com.example.App%1"_s.arg(number(applications)); }
    QString task() { return application() + u".task_sync"_s; }

    QDBusMessage any();
    QDBusMessage start();
    QDBusMessage stop();
    /// Of a task that nobody has declared, or of none.
    QDBusMessage stopOfNothing();
    /// Of a type that this daemon serves, or of one of the user service's.
    QDBusMessage registration();
    /// What the user service answers.
    QDBusMessage forwarded();
    /// Of a method that no object has, or with arguments of other types.
    QDBusMessage wrong();

private:
    QDBusMessage listOrSwitch();

    std::mt19937 &m_random;
};

} // namespace Chaos
