#include "platform/simulated/trace.h"

#include <array>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "platform/simulated/handles.h"

namespace parlen::simulated {
namespace {

using platform::FontFace;
using platform::FontSize;
using platform::NamedColor;

std::string_view word(FontFace face) {
  switch (face) {
    case FontFace::system:
      return "systemFont";
    case FontFace::boldSystem:
      return "boldSystemFont";
  }
  return "";
}

std::string_view word(FontSize size) {
  switch (size) {
    case FontSize::standard:
      return "systemFontSize";
    case FontSize::small:
      return "smallSystemFontSize";
  }
  return "";
}

std::string_view word(NamedColor color) {
  switch (color) {
    case NamedColor::secondaryLabel:
      return "secondaryLabelColor";
    case NamedColor::controlAccent:
      return "controlAccentColor";
  }
  return "";
}

JsonMembers kind(std::string_view word) { return JsonMembers().addText("kind", word); }

JsonMembers describe(const platform::BarImage& image) {
  return kind("image").addNumber("width", image.width).addNumber("height", image.height);
}

JsonMembers describe(const platform::BarText& text) {
  JsonMembers members = kind("label");
  members.add("font",
              JsonMembers().addText("face", word(text.face)).addText("size", word(text.size)));
  if (text.textColor) members.addText("textColor", word(*text.textColor));
  return members.addInteger("lineBreakMode", static_cast<int>(text.lineBreakMode))
      .addNumber("compressionResistance", text.compressionResistance);
}

JsonMembers describe(const platform::BarSpacer&) { return kind("spacer"); }

JsonMembers describe(const platform::BarButton& button) {
  JsonMembers members = kind("button");
  members.addText("title", button.title).addText("keyEquivalent", button.keyEquivalent);
  if (button.bezelColor) members.addText("bezelColor", word(*button.bezelColor));
  return members;
}

JsonMembers describe(const std::shared_ptr<platform::BarStack>& stack) {
  return kind("stack").addAll(simulated::describe(*stack));
}

void addOuter(JsonMembers& members, const platform::OuterStack& outer) {
  const platform::EdgeInsets& insets = outer.edgeInsets;
  members
      .add("edgeInsets",
           jsonArray(std::array{insets.top, insets.left, insets.bottom, insets.right}, number))
      .addNumber("huggingPriority", outer.huggingPriority)
      .add("frame", list(outer.frame));
}

std::string display(const platform::Display& display) {
  return "[" + std::to_string(display.widthInPixels) + "," +
         std::to_string(display.heightInPixels) + "," + std::to_string(display.pixelsPerInch) + "]";
}

std::string storageDevice(const platform::StorageDevice& device) {
  const DiskAttachment* disk = opened(device.attachment);
  if (disk == nullptr) return "null";
  return JsonMembers()
      .addText("path", disk->path())
      .addBoolean("readOnly", disk->isReadOnly())
      .object();
}

std::string networkDevice(const platform::NetworkDevice& device) {
  return JsonMembers()
      .addText("attachment", "nat")
      .add("macAddress", device.macAddress ? quoted(toString(*device.macAddress)) : "null")
      .object();
}

std::string directorySharingDevice(const platform::DirectorySharingDevice& device) {
  return JsonMembers()
      .addText("tag", device.tag)
      .addText("path", device.path)
      .addBoolean("readOnly", device.access == platform::ShareAccess::readOnly)
      .object();
}

void addIdentity(JsonMembers& members, const platform::MachineConfiguration& configuration) {
  const HardwareModel* model = opened(configuration.hardwareModel);
  const MachineIdentifier* identifier = opened(configuration.machineIdentifier);
  const AuxiliaryStorage* storage = opened(configuration.auxiliaryStorage);
  const bool boots = configuration.bootLoader == platform::BootLoader::macOS;
  members.add("hardwareModel", model != nullptr ? quoted(model->name()) : "null")
      .add("machineIdentifier", identifier != nullptr ? quoted(identifier->digits()) : "null")
      .add("auxiliaryStorage", storage != nullptr ? quoted(storage->path()) : "null")
      .add("bootLoader", boots ? quoted("macos") : "null");
}

/// Truncated to three decimals.
std::string inMilliseconds(std::chrono::nanoseconds time) {
  const auto microseconds = std::chrono::duration_cast<std::chrono::microseconds>(time).count();
  const std::string decimals = std::to_string(microseconds % 1000);
  return std::to_string(microseconds / 1000) + "." + std::string(3 - decimals.size(), '0') +
         decimals;
}

}  // namespace

std::string list(const platform::Point& point) {
  return jsonArray(std::array{point.x, point.y}, number);
}

std::string list(const platform::Size& size) {
  return jsonArray(std::array{size.width, size.height}, number);
}

std::string list(const platform::Rect& rect) {
  return jsonArray(std::array{rect.x, rect.y, rect.width, rect.height}, number);
}

JsonMembers describe(const platform::BarStack& bar) {
  const auto toJson = [](const platform::BarView& view) {
    return std::visit([](const auto& known) { return describe(known).object(); }, view);
  };
  JsonMembers members;
  members.addInteger("orientation", static_cast<int>(bar.orientation))
      .addInteger("alignment", static_cast<int>(bar.alignment))
      .addNumber("spacing", bar.spacing);
  if (bar.outer) addOuter(members, *bar.outer);
  return members.add("views", jsonArray(bar.views, toJson));
}

JsonMembers describe(const platform::MachineConfiguration& configuration) {
  const auto displays = [](const platform::GraphicsDevice& device) {
    return jsonArray(device.displays, display);
  };
  // The devices of each of these lists are of one kind, so they have one name.
  const auto named = [](std::string_view name) { return [name](auto) { return quoted(name); }; };
  JsonMembers members;
  addIdentity(members, configuration);
  members.addInteger("cpuCount", configuration.cpuCount)
      .addInteger("memorySize", configuration.memorySize)
      .add("displays", jsonArray(configuration.graphicsDevices, displays))
      .add("storageDevices", jsonArray(configuration.storageDevices, storageDevice))
      .add("networkDevices", jsonArray(configuration.networkDevices, networkDevice))
      .addInteger("entropyDevices", configuration.entropyDevices.size())
      .add("keyboards", jsonArray(configuration.keyboards, named("usb")))
      .add("pointingDevices",
           jsonArray(configuration.pointingDevices, named("usb-screen-coordinate")))
      .add("audioDevices", jsonArray(configuration.audioDevices, named("")))
      .add("directorySharingDevices",
           jsonArray(configuration.directorySharingDevices, directorySharingDevice));
  return members;
}

JsonMembers describe(const platform::KeyEventDetails& details) {
  return JsonMembers()
      .addInteger("type", static_cast<int>(details.type))
      .addInteger("keyCode", details.keyCode)
      .addInteger("modifierFlags", details.modifierFlags)
      .addText("characters", details.characters)
      .addText("charactersIgnoringModifiers", details.charactersIgnoringModifiers)
      .add("location", list(details.location))
      .addNumber("timestamp", details.timestamp)
      .addInteger("windowNumber", details.windowNumber)
      .addBoolean("isARepeat", details.isARepeat);
}

Trace::Trace(platform::EventLoop& loop, std::chrono::nanoseconds start,
             std::unique_ptr<platform::AppendingFile> file)
    : loop_(loop), start_(start), file_(std::move(file)) {}

void Trace::record(std::string_view call, const JsonMembers& members) {
  if (!file_) return;
  JsonMembers line;
  line.add("ms", inMilliseconds(loop_.now() - start_)).addText("call", call).addAll(members);
  file_->append(line.object() + "\n");
}

}  // namespace parlen::simulated
