#pragma once

#include <string>

namespace parlen::qemu {

/// `path` as an image tool's argument that can only mean the regular file there, whatever the path
/// begins with: neither an option, nor a protocol ("nbd:"), nor a description ("json:").
inline std::string fileNode(const std::string& path) { return "file:" + path; }

/// The same for a block device.
inline std::string deviceNode(const std::string& path) { return "host_device:" + path; }

}  // namespace parlen::qemu
