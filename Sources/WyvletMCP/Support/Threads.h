#pragma once

namespace wyvlet {

/// Names the calling thread for debuggers and crash reports; at most 15 characters are kept on Linux.
void nameThread(const char* name);

}  // namespace wyvlet
