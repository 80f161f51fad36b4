#pragma once

#include <cstddef>

/// What clang's "gnustep-1.9" code and GCC's runtime (libobjc 4) hand to each other. The layouts
/// are those of GCC 12, libobjc/objc-private/module-abi-8.h and objc/runtime.h, and for the members
/// that clang adds those of clang 19, lib/CodeGen/CGObjCGNU.cpp.
struct objc_class;
struct objc_method;
struct objc_object {
  objc_class* isa;
};
using Object = objc_object*;
using Class = objc_class*;
using Selector = const struct objc_selector*;
using Implementation = Object (*)(Object, Selector, ...);

struct objc_ivar {
  const char* name;
  const char* type;
  int offset;
};
struct objc_ivar_list {
  int count;
  objc_ivar list[1];
};

struct objc_protocol;
struct objc_protocol_list {
  objc_protocol_list* next;
  std::size_t count;
  objc_protocol* list[1];
};
struct objc_protocol {
  void* isa;
  const char* name;
  objc_protocol_list* protocols;
  void* instanceMethods;
  void* classMethods;
};

struct objc_class {
  Class isa;
  Class super;  // until it is resolved, the name of the superclass
  const char* name;
  long version;
  unsigned long info;
  long instanceSize;
  objc_ivar_list* ivars;
  void* methods;
  void* dispatchTable;
  Class subclasses;
  Class sibling;
  objc_protocol_list* protocols;
  void* collector;
  // From here on clang's own.
  long abiVersion;
  int** ivarOffsets;
};

struct objc_category {
  const char* name;
  const char* className;
  void* instanceMethods;
  void* classMethods;
  objc_protocol_list* protocols;
};

/// First `classes` classes, then `categories` categories.
struct objc_symtab {
  unsigned long selectorCount;
  void* selectors;
  unsigned short classes;
  unsigned short categories;
  void* definitions[1];
};

struct objc_module {
  unsigned long version;
  unsigned long size;
  const char* name;
  objc_symtab* symtab;
};

struct objc_super {
  Object self;
  Class superclass;
};

extern "C" {
Implementation objc_msg_lookup(Object receiver, Selector selector);
Implementation objc_msg_lookup_super(objc_super* super, Selector selector);
Selector sel_registerName(const char* name);
const char* sel_getName(Selector selector);
Class objc_lookUpClass(const char* name);
Class class_getSuperclass(Class object);
objc_method* class_getInstanceMethod(Class object, Selector selector);
Implementation method_setImplementation(objc_method* method, Implementation implementation);
const char* method_getTypeEncoding(objc_method* method);
}

namespace parlen::runtime {

/// Sends a message that returns an object or nothing.
template <class... Arguments>
Object send(Object receiver, const char* name, Arguments... arguments) {
  const Selector selector = sel_registerName(name);
  return reinterpret_cast<Object (*)(Object, Selector, Arguments...)>(
      objc_msg_lookup(receiver, selector))(receiver, selector, arguments...);
}

/// Replaces NSObject's -release by one that clears weak references. Called before the first class
/// of clang's is loaded.
void clearWeakReferencesOnRelease();

}  // namespace parlen::runtime
