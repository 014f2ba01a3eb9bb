#pragma once

namespace wyvlet {

/// Makes all threads take their memory from one pool. Otherwise the C library of Linux gives nearly
/// every thread one of its own, keeps in each what was freed, and can return none of their ends.
/// Called once, before the first thread starts.
void shareOneMemoryPool();

/// Returns to the system what was freed, page by page. For the moment after a burst of work: without
/// it one large request leaves the process large for good. Takes a few milliseconds at most. Any thread.
void returnFreedMemory();

}  // namespace wyvlet
