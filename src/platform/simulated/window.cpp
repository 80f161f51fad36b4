#include "platform/simulated/window.h"

#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace parlen::simulated {
namespace {

std::string nameOrNull(const std::shared_ptr<MachineView>& view) {
  return view ? quoted(view->name()) : "null";
}

/// The first button with this title in the stack and the stacks in it, or null.
const platform::BarButton* findButton(const platform::BarStack& stack, std::string_view title) {
  for (const platform::BarView& view : stack.views) {
    const auto* button = std::get_if<platform::BarButton>(&view);
    if (button != nullptr && button->title == title) return button;
    const auto* inner = std::get_if<std::shared_ptr<platform::BarStack>>(&view);
    if (inner == nullptr) continue;
    if (const auto* found = findButton(**inner, title)) return found;
  }
  return nullptr;
}

}  // namespace

platform::Window* MachineView::window() const { return window_; }

Window::Window(std::shared_ptr<World> world, const platform::WindowOptions& options)
    : world_(std::move(world)),
      number_(world_->desktop.nextWindowNumber()),
      styleMask_(options.styleMask),
      frame_(options.contentRect) {
  frame_.height += world_->scenario.window.chrome;
  record("window.create", JsonMembers()
                              .add("contentRect", list(options.contentRect))
                              .addInteger("styleMask", options.styleMask)
                              .addInteger("backing", static_cast<int>(options.backing))
                              .addBoolean("defer", options.defer));
}

Window::~Window() {
  world_->desktop.remove(this);
  removeContentView();
}

void Window::record(std::string_view call, const JsonMembers& members) const {
  world_->trace.record(call, JsonMembers().addInteger("window", number_).addAll(members));
}

void Window::setTitle(const std::string& title) {
  record("window.setTitle", JsonMembers().addText("title", title));
}

void Window::setReleasedWhenClosed(platform::ReleasedWhenClosed released) {
  record("window.setReleasedWhenClosed",
         JsonMembers().addBoolean("released", released == platform::ReleasedWhenClosed::yes));
}

void Window::setDelegate(platform::WindowDelegate* delegate) {
  record("window.setDelegate");
  delegate_ = delegate;
}

void Window::setContentView(const std::shared_ptr<platform::MachineView>& view) {
  const auto content = opened(view);
  record("window.setContentView", JsonMembers().add("view", nameOrNull(content)));
  if (content == contentView_) return;
  removeContentView();
  if (!content) return;
  // A view is in one window at a time.
  if (content->holder() != nullptr) content->holder()->removeContentView();
  content->moveTo(this);
  contentView_ = content;
}

void Window::removeContentView() {
  if (contentView_) contentView_->moveTo(nullptr);
  contentView_.reset();
  firstResponder_.reset();
}

void Window::setInitialFirstResponder(const std::shared_ptr<platform::MachineView>& view) {
  initialFirstResponder_ = opened(view);
  record("window.setInitialFirstResponder",
         JsonMembers().add("view", nameOrNull(initialFirstResponder_)));
}

void Window::addTitlebarAccessory(const platform::TitlebarAccessory& accessory) {
  record("window.addTitlebarAccessory",
         JsonMembers()
             .addInteger("layoutAttribute", static_cast<int>(accessory.layoutAttribute))
             .add("bar", describe(accessory.bar)));
  accessories_.push_back(accessory);
}

std::optional<platform::Rect> Window::screenVisibleFrame() const {
  return isVisible() ? world_->scenario.window.visibleFrame : std::nullopt;
}

platform::Rect Window::contentRectForFrameRect(const platform::Rect& frame) const {
  platform::Rect content = frame;
  content.height -= world_->scenario.window.chrome;
  return content;
}

void Window::setFrame(const platform::Rect& frame, platform::Redraw redraw) {
  record("window.setFrame", JsonMembers()
                                .add("frame", list(frame))
                                .addBoolean("display", redraw == platform::Redraw::atOnce));
  frame_ = frame;
}

void Window::setContentSize(const platform::Size& size) {
  record("window.setContentSize", JsonMembers().add("size", list(size)));
  frame_.width = size.width;
  frame_.height = size.height + world_->scenario.window.chrome;
}

void Window::setContentAspectRatio(const platform::Size& ratio) {
  record("window.setContentAspectRatio", JsonMembers().add("size", list(ratio)));
}

void Window::makeKeyAndOrderFront() {
  record("window.makeKeyAndOrderFront");
  world_->desktop.bringToFront(*this);
  // The initial first responder counts once, and only if none was chosen before.
  const bool isFirst = !std::exchange(wasShown_, true);
  if (isFirst && !firstResponder_ && initialFirstResponder_ == contentView_) focus(contentView_);
}

void Window::orderOut() {
  record("window.orderOut");
  world_->desktop.remove(this);
}

bool Window::firstResponderIsMachineView() const {
  return contentView_ && firstResponder_ == contentView_;
}

bool Window::isFirstResponder(const platform::View& view) const {
  return firstResponder_.get() == &view;
}

void Window::makeFirstResponder(const std::shared_ptr<platform::View>& view) {
  record("window.makeFirstResponder",
         JsonMembers().add("view", view ? quoted(nameOf(*view)) : "null"));
  if (view) {
    focus(view);
  } else {
    firstResponder_.reset();
  }
}

std::string Window::firstResponderDescription() const {
  return firstResponder_ ? nameOf(*firstResponder_) : "none";
}

std::string Window::nameOf(const platform::View& view) const {
  const std::string* name = contentView_ ? contentView_->nameOf(view) : nullptr;
  if (name == nullptr)
    world_->unmodelled("a view became the first responder of a window that it is not in");
  return *name;
}

void Window::focus(std::shared_ptr<platform::View> view) {
  // If the view does not accept it, the first responder stays.
  if (view && view->acceptsFirstResponder()) firstResponder_ = std::move(view);
}

std::function<void()> Window::buttonAction(std::string_view title) const {
  for (const platform::TitlebarAccessory& accessory : accessories_) {
    if (const auto* button = findButton(accessory.bar, title)) return button->onPress;
  }
  return {};
}

}  // namespace parlen::simulated
