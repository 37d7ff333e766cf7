// Buffers change between two calls of one routine to the host, as another thread would have it.
#pragma once

#include <functional>

/// What happens ahead of the call after `calls` more of the object's questions about a buffer;
/// 0: none does. `may_delete` tells that the routine holds no buffer that it has not locked.
void interfere_after(long calls, std::function<void(bool may_delete)> what);
