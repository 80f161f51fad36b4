// Lets @catch in clang's Objective-C++ take what GNUstep, built by GCC, throws. GCC throws an
// Objective-C exception of its own class ("GNUCOBJC"); clang's code expects a C++ exception whose
// type is "@id". The personality below shows the unwinder the second in place of the first.
//
// It cannot show what happens when an exception crosses a frame of AppKit or of libdispatch.
#include <cxxabi.h>
#include <unwind.h>

#include <map>
#include <typeinfo>

#include "abi.h"

extern "C" _Unwind_Reason_Code __gxx_personality_v0(int, _Unwind_Action, _Unwind_Exception_Class,
                                                    _Unwind_Exception*, _Unwind_Context*);

// The names are those that clang's code refers to (clang 19, CGObjCGNU.cpp, CGObjCGNUstep).
namespace gnustep::libobjc {

struct __objc_id_type_info : std::type_info {
  __objc_id_type_info() : type_info("@id") {}
  ~__objc_id_type_info() override;
  bool __is_pointer_p() const override { return true; }
  bool __do_catch(const type_info* thrown, void** object, unsigned) const override;
};

struct __objc_class_type_info : std::type_info {
  using type_info::type_info;
  ~__objc_class_type_info() override;
  bool __is_pointer_p() const override { return true; }
  bool __do_catch(const type_info* thrown, void** object, unsigned) const override;
};

}  // namespace gnustep::libobjc

extern "C" {
gnustep::libobjc::__objc_id_type_info parlenIdTypeInfo __asm__("__objc_id_type_info");
}

namespace gnustep::libobjc {

__objc_id_type_info::~__objc_id_type_info() = default;
__objc_class_type_info::~__objc_class_type_info() = default;

bool __objc_id_type_info::__do_catch(const type_info* thrown, void**, unsigned) const {
  return thrown == &parlenIdTypeInfo;
}

bool __objc_class_type_info::__do_catch(const type_info* thrown, void** object, unsigned) const {
  if (thrown != &parlenIdTypeInfo) return false;
  const Class wanted = objc_lookUpClass(name());
  Class at = static_cast<Object>(*object)->isa;
  while (at != nullptr && at != wanted) at = class_getSuperclass(at);
  return at != nullptr;
}

}  // namespace gnustep::libobjc

namespace {

constexpr _Unwind_Exception_Class gccsObjectiveC = 0x474e55434f424a43;  // "GNUCOBJC"

/// How libobjc's ObjcException begins (GCC 12, libobjc/exception.c).
struct GccException {
  _Unwind_Exception base;
  Object value;
};

/// The C++ exceptions that stand for the exceptions in flight.
thread_local std::map<_Unwind_Exception*, _Unwind_Exception*>* translated = nullptr;

_Unwind_Exception* translate(_Unwind_Exception* exception) {
  void* object = abi::__cxa_allocate_exception(sizeof(Object));
  *static_cast<Object*>(object) = reinterpret_cast<GccException*>(exception)->value;
  // The first member of what is returned is the count of references (libstdc++, unwind-cxx.h).
  *reinterpret_cast<int*>(abi::__cxa_init_primary_exception(object, &parlenIdTypeInfo, nullptr)) =
      1;
  return static_cast<_Unwind_Exception*>(object) - 1;
}

}  // namespace

extern "C" _Unwind_Reason_Code __gnustep_objcxx_personality_v0(int version, _Unwind_Action actions,
                                                               _Unwind_Exception_Class kind,
                                                               _Unwind_Exception* exception,
                                                               _Unwind_Context* context) {
  const bool decides = (actions & (_UA_SEARCH_PHASE | _UA_HANDLER_FRAME)) != 0;
  if (kind != gccsObjectiveC || !decides)
    return __gxx_personality_v0(version, actions, kind, exception, context);
  if (translated == nullptr) translated = new std::map<_Unwind_Exception*, _Unwind_Exception*>;
  _Unwind_Exception*& shown = (*translated)[exception];
  if (shown == nullptr) shown = translate(exception);
  const auto result =
      __gxx_personality_v0(version, actions, shown->exception_class, shown, context);
  if ((actions & _UA_HANDLER_FRAME) != 0) translated->erase(exception);
  return result;
}
