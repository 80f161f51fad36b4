#pragma once

namespace parlen::harness {

/// NSFileManager's copyItemAtURL:toURL:error: with a plain copy: of a file its data, holes kept,
/// and its attributes; of a link the link; of a directory all that is in it. It is an error if `to`
/// exists. Returns 0 or an errno value.
int copyItem(const char* from, const char* to);

}  // namespace parlen::harness
