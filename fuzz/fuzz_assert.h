#pragma once

#include <cstdio>
#include <cstdlib>

namespace FuzzAssert
{

/// Ends the process in the way that a fuzzer takes for a finding.
[[noreturn]] inline void fail(const char *file, int line, const char *condition)
{
    std::fprintf(stderr, "%s:%d: does not hold: %s\n", file, line, condition);
    std::abort();
}

} // namespace FuzzAssert

/// Checks a property of the code under test, in every build type.
#define FUZZ_ASSERT(condition)                                                                               \
    ((condition) ? static_cast<void>(0) : FuzzAssert::fail(__FILE__, __LINE__, #condition))
