// Message lookup for clang's "gnustep-1.9" code, and the check of message types.
//
// The caller was compiled with the stand-in headers of tools/macos-cross, the receiver's method
// often with GNUstep's: they meet at run time only. With PARLEN_CHECK_TYPES=1 each message of
// clang's code is compared with the method that answers it, and a difference ends the process: it
// would pass garbage. It cannot show that the stand-in headers agree with Apple's.
//
// PARLEN_RAISES names a message that raises an exception when C++ code sends it, as all calls of
// the program into AppKit are sent: what a framework does that cannot carry something out.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "abi.h"

/// What clang's code gets from a lookup.
struct objc_slot {
  Class owner;
  Class cachedFor;
  const char* types;
  int version;
  Implementation method;
};

namespace parlen::runtime {
namespace {

/// Skips the name of a struct or a union: what follows is its content.
const char* afterName(const char* at) {
  while (at[1] != '\0' && std::strchr("=})", at[1]) == nullptr) ++at;
  return at[1] == '=' ? at + 1 : at;
}

/// A method's types without offsets, qualifiers, and the names of structs and classes: only what is
/// passed. `l` is `q` where long has 64 bits, and a block is an object.
std::string passed(const char* types) {
  std::string result;
  for (const char* at = types; *at != '\0'; ++at) {
    if (std::strchr("0123456789rnNoORV|+-", *at) != nullptr) continue;
    if (*at == '"') {
      at = std::strchr(at + 1, '"');
      continue;
    }
    if (*at == '?' && !result.empty() && result.back() == '@') continue;
    result += *at == 'l' ? 'q' : *at == 'L' ? 'Q' : *at;
    if (*at == '{' || *at == '(') at = afterName(at);
  }
  return result;
}

/// The types one by one: the result's first, then those of the receiver, the selector and the
/// arguments.
std::vector<std::string> split(const std::string& types) {
  std::vector<std::string> all;
  int depth = 0;
  bool continues = false;
  for (const char c : types) {
    if (depth == 0 && !continues) all.emplace_back();
    all.back() += c;
    if (std::strchr("{(", c) != nullptr) ++depth;
    if (std::strchr("})", c) != nullptr) --depth;
    continues = c == '^';
  }
  return all;
}

/// The bytes of an integer; 0 for anything else.
int widthOf(const std::string& type) {
  static const std::map<std::string, int> widths = {
      {"c", 1}, {"C", 1}, {"B", 1}, {"s", 2}, {"S", 2}, {"i", 4}, {"I", 4}, {"q", 8}, {"Q", 8}};
  const auto found = widths.find(type);
  return found != widths.end() ? found->second : 0;
}

bool pointsToBytes(const std::string& type) {
  return type == "*" || type == "^c" || type == "^C" || type == "^v";
}

/// Whether a value of the type `given` can be taken as `taken`: an integer that is not wider. The
/// compilers write a pointer to BOOL in different ways.
bool fits(const std::string& given, const std::string& taken) {
  return given == taken || (pointsToBytes(given) && pointsToBytes(taken)) ||
         (widthOf(taken) > 0 && widthOf(given) >= widthOf(taken));
}

bool agree(const std::string& called, const std::string& declared) {
  const auto caller = split(called);
  const auto method = split(declared);
  if (caller.size() != method.size() || !fits(method[0], caller[0])) return false;
  for (std::size_t i = 1; i < caller.size(); ++i) {
    if (!fits(caller[i], method[i])) return false;
  }
  return true;
}

bool checksTypes() {
  static const bool checks = std::getenv("PARLEN_CHECK_TYPES") != nullptr;
  return checks;
}

void checkTypes(Object receiver, Selector selector) {
  // A selector of clang's code begins with its name and its types.
  const char* wanted = reinterpret_cast<const char* const*>(selector)[1];
  objc_method* method = class_getInstanceMethod(receiver->isa, selector);
  if (wanted == nullptr || method == nullptr) return;
  const std::string called = passed(wanted);
  const std::string declared = passed(method_getTypeEncoding(method));
  if (agree(called, declared)) return;
  std::fprintf(stderr, "macos-on-linux: %s %s is called as %s and declared as %s\n",
               receiver->isa->name, sel_getName(selector), called.c_str(), declared.c_str());
  std::abort();
}

bool raises(Selector selector) {
  static const char* const wanted = std::getenv("PARLEN_RAISES");
  return wanted != nullptr && std::strcmp(sel_getName(selector), wanted) == 0;
}

Object toText(const char* text) {
  return send(reinterpret_cast<Object>(objc_lookUpClass("NSString")),
              "stringWithUTF8String:", text);
}

void raise(Selector selector) {
  const Object exception =
      send(reinterpret_cast<Object>(objc_lookUpClass("NSException")),
           "exceptionWithName:reason:userInfo:", toText("NSInternalInconsistencyException"),
           toText(sel_getName(selector)), Object{nullptr});
  send(exception, "raise");
}

}  // namespace
}  // namespace parlen::runtime

extern "C" {

// The sender is null in C++ code.
objc_slot* objc_msg_lookup_sender(Object* receiver, Selector selector, Object sender) {
  thread_local objc_slot slot;
  if (*receiver != nullptr && parlen::runtime::checksTypes())
    parlen::runtime::checkTypes(*receiver, selector);
  if (*receiver != nullptr && sender == nullptr && parlen::runtime::raises(selector))
    parlen::runtime::raise(selector);
  slot.method = objc_msg_lookup(*receiver, selector);
  return &slot;
}

objc_slot* objc_slot_lookup_super(objc_super* super, Selector selector) {
  thread_local objc_slot slot;
  slot.method = objc_msg_lookup_super(super, selector);
  return &slot;
}

}  // extern "C"
