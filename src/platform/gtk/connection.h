#pragma once

#include <csetjmp>
#include <functional>
#include <type_traits>
#include <utility>

namespace parlen::gtk {

/// The connection to the display server, which can break in the middle of any call of GTK. Xlib has
/// no way on then: by default it ends the process, and if its error handlers return, some of its
/// calls wait for ever for the server. So GTK is called through `use` alone, which leaves a call
/// whose connection breaks, and it is not called again afterwards. Main thread.
///
/// Only connections to X servers are watched: GDK ends the process itself when a Wayland compositor
/// has gone (GTK 3, gdk/wayland/gdkeventsource.c).
class Connection {
 public:
  /// Becomes what Xlib tells of broken connections. There is at most one, and it must live until
  /// the process ends.
  Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  bool isBroken() const { return broken_; }

  /// `onBroken` is called once, when the connection has broken. It must not call GTK.
  void setHandler(std::function<void()> onBroken) { onBroken_ = std::move(onBroken); }

  /// Runs `call`, unless the connection is broken; false if it is, before or afterwards. If it
  /// breaks meanwhile, `call` is left where it is: nothing on the stack is destroyed, so neither
  /// `call` nor what it calls should own anything there. Inside of another `use`, that one is left.
  template <class Call>
  bool use(Call&& call) {
    if (leave_ == nullptr) {
      using Target = std::remove_reference_t<Call>;
      return !broken_ && run([](void* target) { (*static_cast<Target*>(target))(); }, &call);
    }
    call();
    return true;
  }

  /// For what GTK calls back inside of `use`: runs `work`, which belongs to the program. It is
  /// never left where it is, and may call `use`. Does not return if the connection is broken then.
  template <class Work>
  void callOut(Work&& work) {
    std::jmp_buf* const outer = std::exchange(leave_, nullptr);
    work();
    leave_ = outer;
    if (broken_) leave();
  }

 private:
  bool run(void (*call)(void*), void* target);
  [[noreturn]] void leave();

  std::jmp_buf* leave_ = nullptr;  // leads out of the `use` in progress; null: there is none
  bool broken_ = false;
  std::function<void()> onBroken_;

  friend struct BrokenConnectionHandler;
};

}  // namespace parlen::gtk
