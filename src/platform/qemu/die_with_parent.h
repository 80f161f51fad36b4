#pragma once

namespace parlen::qemu {

/// For the child, between fork and exec: kills it when `parent` ends, however that happens.
void dieWithParent(int parent);

}  // namespace parlen::qemu
