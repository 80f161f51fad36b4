#import "platform/macos/bridge.h"
#import "platform/macos/objc_menu.h"

namespace parlen::macos {
namespace {

NSMenu* toSubmenu(const std::vector<platform::MenuEntry>& entries) {
  NSMenu* submenu = [[NSMenu alloc] init];
  for (const platform::MenuEntry& entry : entries) {
    // Without a target an action goes along the responders, at whose end is the application.
    [submenu addItemWithTitle:toText(entry.title)
                       action:NSSelectorFromString(toText(entry.action))
                keyEquivalent:toText(entry.keyEquivalent)];
  }
  return submenu;
}

}  // namespace

NSMenu* toMenu(const platform::MenuBar& bar) {
  NSMenu* menu = [[NSMenu alloc] init];
  for (const auto& entries : bar) {
    NSMenuItem* item = [[NSMenuItem alloc] init];
    item.submenu = toSubmenu(entries);
    [menu addItem:item];
  }
  return menu;
}

}  // namespace parlen::macos
