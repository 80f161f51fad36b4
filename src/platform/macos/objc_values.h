#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

// Plain values in the frameworks' clothes, and back. Like every header here whose name begins with
// "objc_", for Objective-C++ files only.
namespace parlen::macos {

/// UTF-8 text. Bytes that are no UTF-8 are read as Latin-1, so that no text is lost to a person.
NSString* toText(std::string_view text);

/// A path for a framework. Bytes that are no UTF-8 name no file on this system; they become a path
/// at which nothing can be or be made.
NSString* toPath(const std::string& path);
NSURL* toFileUrl(const std::string& path);

NSData* toData(std::string_view bytes);

/// The bytes in UTF-8; none for nil.
std::string fromText(NSString* text);
std::string fromData(NSData* data);

}  // namespace parlen::macos
