// Automatic reference counting: the calls that clang makes for it (clang's document "Objective-C
// Automatic Reference Counting", section "Runtime support"), on GNUstep's -retain and -release.
//
// An object that dies too early shows here, under AddressSanitizer. One that lives too long does
// not: the autorelease pools are drained at other moments than on a Mac, and a block that is
// autoreleased is never freed.
#include <Block.h>

#include <map>
#include <mutex>
#include <set>

#include "abi.h"

extern "C" {
unsigned char NSDecrementExtraRefCountWasZero(Object object);
extern void* _NSConcreteStackBlock[32];
extern void* _NSConcreteGlobalBlock[32];
extern void* _NSConcreteMallocBlock[32];
}

namespace parlen::runtime {
namespace {

bool isOnStack(Object object) {
  return static_cast<void*>(object->isa) == static_cast<void*>(_NSConcreteStackBlock);
}

/// Blocks are no objects to this runtime: no message can be sent to them.
bool isBlock(Object object) {
  const void* isa = object->isa;
  return isOnStack(object) || isa == static_cast<void*>(_NSConcreteGlobalBlock) ||
         isa == static_cast<void*>(_NSConcreteMallocBlock);
}

Object copyBlock(Object block) { return static_cast<Object>(_Block_copy(block)); }

/// Guards weak references and atomic properties.
std::recursive_mutex& lock() {
  static auto* mutex = new std::recursive_mutex;
  return *mutex;
}

/// Where each object is referred to weakly.
std::map<Object, std::set<Object*>>& weakReferences() {
  static auto* references = new std::map<Object, std::set<Object*>>;
  return *references;
}

void forget(Object* place) {
  if (*place == nullptr) return;
  const auto found = weakReferences().find(*place);
  if (found != weakReferences().end()) {
    found->second.erase(place);
    if (found->second.empty()) weakReferences().erase(found);
  }
  *place = nullptr;
}

void clearReferencesTo(Object object) {
  const auto found = weakReferences().find(object);
  if (found == weakReferences().end()) return;
  for (Object* place : found->second) *place = nullptr;
  weakReferences().erase(found);
}

/// NSObject's -release, but for the weak references.
Object release(Object self, Selector) {
  {
    const std::lock_guard guard(lock());
    if (NSDecrementExtraRefCountWasZero(self) == 0) return nullptr;
    clearReferencesTo(self);
  }
  send(self, "dealloc");
  return nullptr;
}

}  // namespace

void clearWeakReferencesOnRelease() {
  const Class object = objc_lookUpClass("NSObject");
  method_setImplementation(class_getInstanceMethod(object, sel_registerName("release")),
                           reinterpret_cast<Implementation>(release));
}

}  // namespace parlen::runtime

using namespace parlen::runtime;

extern "C" {

Object objc_retain(Object object) {
  // Only objc_retainBlock moves a block off the stack.
  if (object == nullptr || isOnStack(object)) return object;
  return isBlock(object) ? copyBlock(object) : send(object, "retain");
}

void objc_release(Object object) {
  if (object == nullptr || isOnStack(object)) return;
  if (isBlock(object)) return _Block_release(object);
  send(object, "release");
}

Object objc_retainBlock(Object object) { return object != nullptr ? copyBlock(object) : nullptr; }

Object objc_autorelease(Object object) {
  if (object == nullptr || isBlock(object)) return object;
  return send(object, "autorelease");
}

Object objc_autoreleaseReturnValue(Object object) { return objc_autorelease(object); }
Object objc_retainAutorelease(Object object) { return objc_autorelease(objc_retain(object)); }
Object objc_retainAutoreleaseReturnValue(Object object) { return objc_retainAutorelease(object); }
Object objc_retainAutoreleasedReturnValue(Object object) { return objc_retain(object); }
Object objc_unsafeClaimAutoreleasedReturnValue(Object object) { return object; }

void objc_storeStrong(Object* place, Object object) {
  objc_retain(object);
  const Object before = *place;
  *place = object;
  objc_release(before);
}

void* objc_autoreleasePoolPush() {
  return send(reinterpret_cast<Object>(objc_lookUpClass("NSAutoreleasePool")), "new");
}

void objc_autoreleasePoolPop(void* pool) { send(static_cast<Object>(pool), "release"); }

Object objc_storeWeak(Object* place, Object object) {
  const std::lock_guard guard(lock());
  forget(place);
  *place = object;
  if (object != nullptr) weakReferences()[object].insert(place);
  return object;
}

Object objc_initWeak(Object* place, Object object) {
  *place = nullptr;
  return objc_storeWeak(place, object);
}

void objc_destroyWeak(Object* place) {
  const std::lock_guard guard(lock());
  forget(place);
}

Object objc_loadWeakRetained(Object* place) {
  const std::lock_guard guard(lock());
  return objc_retain(*place);
}

Object objc_loadWeak(Object* place) { return objc_autorelease(objc_loadWeakRetained(place)); }

void objc_copyWeak(Object* to, Object* from) {
  const std::lock_guard guard(lock());
  objc_initWeak(to, *from);
}

void objc_moveWeak(Object* to, Object* from) {
  const std::lock_guard guard(lock());
  objc_initWeak(to, *from);
  forget(from);
}

static void setProperty(Object self, Object value, std::ptrdiff_t offset, bool copies) {
  if (!copies) {
    objc_retain(value);
  } else if (value != nullptr) {
    value = isBlock(value) ? copyBlock(value) : send(value, "copyWithZone:", nullptr);
  }
  auto* place = reinterpret_cast<Object*>(reinterpret_cast<char*>(self) + offset);
  Object before = nullptr;
  {
    const std::lock_guard guard(lock());
    before = *place;
    *place = value;
  }
  objc_release(before);
}

void objc_setProperty_atomic(Object self, Selector, Object value, std::ptrdiff_t offset) {
  setProperty(self, value, offset, false);
}
void objc_setProperty_nonatomic(Object self, Selector, Object value, std::ptrdiff_t offset) {
  setProperty(self, value, offset, false);
}
void objc_setProperty_atomic_copy(Object self, Selector, Object value, std::ptrdiff_t offset) {
  setProperty(self, value, offset, true);
}
void objc_setProperty_nonatomic_copy(Object self, Selector, Object value, std::ptrdiff_t offset) {
  setProperty(self, value, offset, true);
}

/// In place of GCC's own, which sends -retain to what may be a block.
Object objc_getProperty(Object self, Selector, std::ptrdiff_t offset, unsigned char) {
  const std::lock_guard guard(lock());
  return objc_autorelease(
      objc_retain(*reinterpret_cast<Object*>(reinterpret_cast<char*>(self) + offset)));
}

}  // extern "C"

/// The main thread's outermost pool: on Apple's systems what is autoreleased without any pool lands
/// in one that the runtime makes by itself.
__attribute__((constructor)) static void makeOutermostPool() { objc_autoreleasePoolPush(); }

/// Foundation keeps objects for ever: what is left at the end is no leak.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() { return "detect_leaks=0"; }
