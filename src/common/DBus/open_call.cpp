#include "common/DBus/open_call.h"

namespace DBus {

namespace {

int s_count = 0;

} // namespace

OpenCall::OpenCall()
    : m_token(&s_count, [](int *count) { --*count; })
{
    ++s_count;
}

int OpenCall::count() { return s_count; }

} // namespace DBus
