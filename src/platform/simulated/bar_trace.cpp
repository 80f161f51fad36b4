#include "platform/simulated/bar_trace.h"

#include <array>
#include <string>

#include "platform/simulated/geometry_trace.h"

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

}  // namespace

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

}  // namespace parlen::simulated
