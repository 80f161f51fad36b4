#include "text/utf8.h"

#include <array>

namespace parlen::text {
namespace {

/// The sequences that a range of first bytes may start (Unicode standard, table 3-7). The bounds of
/// the second byte exclude surrogates, overlong sequences and everything above U+10FFFF; later
/// bytes are always 80..BF.
struct Lead {
  unsigned char first;
  unsigned char last;
  unsigned char secondFirst;
  unsigned char secondLast;
  std::size_t length;
};

constexpr std::array<Lead, 8> leads{{
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},
}};

unsigned char byteAt(std::string_view bytes, std::size_t index) {
  return static_cast<unsigned char>(bytes[index]);
}

const Lead* findLead(unsigned char byte) {
  for (const Lead& lead : leads) {
    if (byte >= lead.first && byte <= lead.last) return &lead;
  }
  return nullptr;
}

DecodedCharacter decodeSequence(std::string_view bytes, const Lead& lead) {
  // The first byte of a sequence of n bytes carries 7 - n bits.
  char32_t codePoint = byteAt(bytes, 0) & ((1U << (7 - lead.length)) - 1U);
  for (std::size_t index = 1; index < lead.length; ++index) {
    if (index == bytes.size()) return {std::nullopt, index};
    const unsigned char byte = byteAt(bytes, index);
    const unsigned char lowest = index == 1 ? lead.secondFirst : 0x80;
    const unsigned char highest = index == 1 ? lead.secondLast : 0xBF;
    if (byte < lowest || byte > highest) return {std::nullopt, index};
    codePoint = (codePoint << 6) | (byte & 0x3FU);
  }
  return {codePoint, lead.length};
}

}  // namespace

DecodedCharacter decodeFirst(std::string_view bytes) {
  const unsigned char first = byteAt(bytes, 0);
  if (first < 0x80) return {first, 1};
  const Lead* lead = findLead(first);
  if (lead == nullptr) return {std::nullopt, 1};
  return decodeSequence(bytes, *lead);
}

std::size_t validUtf8Length(std::string_view bytes) {
  std::size_t position = 0;
  while (position < bytes.size()) {
    const DecodedCharacter character = decodeFirst(bytes.substr(position));
    if (!character.codePoint) break;
    position += character.length;
  }
  return position;
}

bool isValidUtf8(std::string_view bytes) { return validUtf8Length(bytes) == bytes.size(); }

bool hasControlCharacter(std::string_view bytes) {
  while (!bytes.empty()) {
    const DecodedCharacter character = decodeFirst(bytes);
    const char32_t codePoint = character.codePoint.value_or(0);
    if (codePoint < 0x20 || (codePoint >= 0x7F && codePoint < 0xA0)) return true;
    bytes.remove_prefix(character.length);
  }
  return false;
}

std::string repairUtf8(std::string_view bytes) {
  std::string repaired;
  repaired.reserve(bytes.size());
  while (true) {
    const std::size_t valid = validUtf8Length(bytes);
    repaired += bytes.substr(0, valid);
    bytes.remove_prefix(valid);
    if (bytes.empty()) return repaired;
    appendUtf8(repaired, replacementCharacter);
    bytes.remove_prefix(decodeFirst(bytes).length);
  }
}

void appendUtf8(std::string& text, char32_t codePoint) {
  const auto add = [&text](char32_t byte) { text += static_cast<char>(byte); };
  const auto addContinuation = [&](int shift) { add(0x80U | ((codePoint >> shift) & 0x3FU)); };
  if (codePoint < 0x80) return add(codePoint);
  if (codePoint < 0x800) {
    add(0xC0U | (codePoint >> 6));
  } else {
    if (codePoint < 0x10000) {
      add(0xE0U | (codePoint >> 12));
    } else {
      add(0xF0U | (codePoint >> 18));
      addContinuation(12);
    }
    addContinuation(6);
  }
  addContinuation(0);
}

}  // namespace parlen::text
