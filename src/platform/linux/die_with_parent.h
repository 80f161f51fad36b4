#pragma once

namespace parlen::qemu {

/// For the child, between fork and exec: kills it when this process ends, however that happens.
/// `rememberParent` must have been called in this process before the fork.
void dieWithParent();
void rememberParent();

}  // namespace parlen::qemu
