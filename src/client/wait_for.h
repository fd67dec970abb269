#pragma once

#include <QEventLoop>

#include <optional>
#include <tuple>

namespace Client {

/// Runs the event loop until an asynchronous call has ended, and returns its results. For tools,
/// which make one call at a time; signals are delivered meanwhile.
///
///     const auto [outcome] = waitFor<Outcome>(
///         [&](const auto &done) { daemon.stop(path, task, done); });
///
/// @param operation starts the call with the callback that it is given.
template <typename... Results, typename Operation>
[[nodiscard]] std::tuple<Results...> waitFor(const Operation &operation)
{
    std::optional<std::tuple<Results...>> results;
    QEventLoop loop;
    operation([&results, &loop](const Results &...values) {
        results.emplace(values...);
        loop.quit();
    });
    // The callback may already have run, because the bus library reports some failures at once.
    if (!results)
        loop.exec();
    return *results;
}

} // namespace Client
