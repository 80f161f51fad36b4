// Loading: what clang's "gnustep-1.9" objects hand to __objc_exec_class is brought into the form
// that GCC's runtime takes. The linker's --wrap puts this in between.
//
// It cannot show what Apple's runtime does when a class or a category is loaded twice or late.
#include <map>
#include <string>
#include <vector>

#include "abi.h"

extern "C" void __real___objc_exec_class(objc_module* module);

namespace parlen::runtime {
namespace {

constexpr unsigned long gccVersion = 8;  // module-abi-8.h
constexpr unsigned long clangsNewAbi =
    0x10;  // a bit of objc_class::info that GCC reads as "in
           // construction" (objc/runtime.h, _CLS_IN_CONSTRUCTION)
constexpr std::uintptr_t clangsProtocol = 3;  // the version that clang leaves in objc_protocol::isa
constexpr std::uintptr_t gccsProtocol = 2;    // PROTOCOL_VERSION in libobjc/protocols.c

void adoptProtocols(objc_protocol_list* list) {
  for (; list != nullptr; list = list->next) {
    for (std::size_t i = 0; i < list->count; ++i) {
      objc_protocol* protocol = list->list[i];
      if (reinterpret_cast<std::uintptr_t>(protocol->isa) == clangsProtocol)
        protocol->isa = reinterpret_cast<void*>(gccsProtocol);
      adoptProtocols(protocol->protocols);
    }
  }
}

/// clang's classes by name, from the moment they are handed over. Never destroyed, as all that the
/// runtime keeps: classes outlive main.
std::map<std::string, Class>& clangsClasses() {
  static auto* classes = new std::map<std::string, Class>;
  return *classes;
}

Class classNamed(const char* name) {
  const auto found = clangsClasses().find(name);
  return found != clangsClasses().end() ? found->second : objc_lookUpClass(name);
}

/// Adds the superclass's size to what clang left out: instance size and offsets of a class start
/// after its superclass, and a size that is zero or negative says that this has not been done.
/// False while the superclass is unknown.
bool layOut(Class object) {
  if (object->instanceSize > 0) return true;
  const Class super = classNamed(reinterpret_cast<const char*>(object->super));
  if (super == nullptr || !layOut(super)) return false;
  if (object->instanceSize == 0) {
    object->instanceSize = super->instanceSize;
    return true;
  }
  constexpr long alignment = 8;
  const long start = (super->instanceSize + alignment - 1) / alignment * alignment;
  if (object->ivars != nullptr) {
    for (int i = 0; i < object->ivars->count; ++i) {
      objc_ivar& ivar = object->ivars->list[i];
      ivar.offset += static_cast<int>(start);
      *object->ivarOffsets[i] = ivar.offset;
    }
  }
  object->instanceSize = start - object->instanceSize;
  return true;
}

/// Hands a module to GCC's runtime. False while one of its superclasses is unknown.
bool load(objc_module* module) {
  const objc_symtab& symbols = *module->symtab;
  for (unsigned i = 0; i < symbols.classes; ++i) {
    if (!layOut(static_cast<Class>(symbols.definitions[i]))) return false;
  }
  for (unsigned i = 0; i < symbols.classes; ++i) {
    const auto object = static_cast<Class>(symbols.definitions[i]);
    for (const Class part : {object, object->isa}) {
      part->info &= ~clangsNewAbi;
      adoptProtocols(part->protocols);
    }
  }
  for (unsigned i = 0; i < symbols.categories; ++i) {
    adoptProtocols(
        static_cast<objc_category*>(symbols.definitions[symbols.classes + i])->protocols);
  }
  module->version = gccVersion;
  module->size = sizeof(objc_module);
  __real___objc_exec_class(module);
  return true;
}

/// Modules that wait for a superclass: the linker's order decides who comes first.
std::vector<objc_module*>& waiting() {
  static auto* modules = new std::vector<objc_module*>;
  return *modules;
}

void loadAllThatCanBe() {
  while (std::erase_if(waiting(), load) > 0) {
  }
}

}  // namespace
}  // namespace parlen::runtime

extern "C" void __wrap___objc_exec_class(objc_module* module) {
  using namespace parlen::runtime;
  if (module->version == gccVersion) return __real___objc_exec_class(module);
  static const bool once = (clearWeakReferencesOnRelease(), true);
  (void)once;
  for (unsigned i = 0; i < module->symtab->classes; ++i) {
    const auto object = static_cast<Class>(module->symtab->definitions[i]);
    clangsClasses()[object->name] = object;
  }
  waiting().push_back(module);
  loadAllThatCanBe();
}
