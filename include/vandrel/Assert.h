// The one fatal-assertion path of the library: a broken internal invariant prints
// "<file>:<line>: failed assertion `<expression>'" on stderr and stops the process.
#ifndef VANDREL_ASSERT_H
#define VANDREL_ASSERT_H

#include <cstdio>
#include <cstdlib>

namespace vandrel {

[[noreturn]] inline void FatalAssertion(const char* file, unsigned line, const char* expression) {
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, expression);
    std::fflush(stderr);
    std::abort();
}

}  // namespace vandrel

#endif
