#pragma once

#include <gtk/gtk.h>

#include <utility>

namespace parlen::gtk {

/// Holds one reference to a GObject, and drops it at the end.
template <class Object>
class Reference {
 public:
  Reference() = default;
  /// Takes over a new object: its floating reference if it has one, else the one it was made with.
  explicit Reference(Object* object) : object_(object) {
    if (object_ != nullptr && g_object_is_floating(object_)) g_object_ref_sink(object_);
  }
  ~Reference() { g_clear_object(&object_); }
  Reference(Reference&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Reference& operator=(Reference&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  Object* get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

 private:
  Object* object_ = nullptr;
};

}  // namespace parlen::gtk
