// The beginning of every line: "[pid : tid ".
#ifndef COMMONUTILITIES_LOGGING_THREAD_TAG_HPP
#define COMMONUTILITIES_LOGGING_THREAD_TAG_HPP

#include <stddef.h>

namespace cu {

/// The longest tag: two 10-digit numbers, a bracket and four characters between and after them.
constexpr size_t kThreadTagSize = 1 + 10 + 3 + 10 + 1;

/// Writes the calling thread's tag, at most kThreadTagSize characters without a terminator, and
/// returns its end. A thread keeps its text, so that a line costs no system call for it.
char *AppendThreadTag(char *dst);

/// From now on a forked child drops the texts kept by its parent, and a logger whose lock another
/// thread held at the moment of the fork is usable in the child. Texts are not kept before that. A
/// child made past fork(), by _Fork() or clone(), is not noticed.
void WatchForks();

}  // namespace cu

#endif
