#pragma once

namespace Chaos {

/// What is promised beyond what always holds. A promise that is not kept yet is false here, and
/// nothing checks it.
namespace Promises {

/// A start finds what a killed run left half done and removes it: temporary files, and policies of
/// tasks without a unit.
constexpr bool tidiesAtStart = true;
/// A switch for all users that fails leaves those of single users as they were.
constexpr bool failedSwitchChangesNothing = true;
/// A start that fails leaves both of the task's files as they were.
constexpr bool failedStartChangesNothing = true;
/// A removal that fails is in the answer or in the log.
constexpr bool saysWhatCouldNotBeRemoved = true;
/// A look at the desktop entries that fails is repeated without a change of the entries.
constexpr bool looksAgain = true;

} // namespace Promises

} // namespace Chaos
