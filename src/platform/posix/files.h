#pragma once

#include <expected>
#include <memory>
#include <string>
#include <string_view>

#include "platform/files.h"
#include "platform/posix/descriptor.h"

namespace parlen::posix {

/// Creates the file. Fails, with errno set, if there is anything at `path`, a link that leads
/// nowhere included.
Descriptor openNew(const std::string& path);

/// Returns 0 or an errno value. Some file systems report only at the close that bytes are lost.
int writeAndClose(Descriptor file, std::string_view bytes);

/// Creates or truncates the file and opens it for writing at its end; a FIFO does not block the
/// call. Fails with errno set.
Descriptor openForAppending(const std::string& path);

/// platform::Files::createForAppending. The error is an errno value.
std::expected<std::unique_ptr<platform::AppendingFile>, int> createForAppending(
    const std::string& path);

}  // namespace parlen::posix
