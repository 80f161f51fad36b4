#include "support/captured_streams.h"

namespace parlen::test {

void CapturedStreams::writeOutput(std::string_view bytes) {
  output += bytes;
  ++outputWrites;
}

void CapturedStreams::send(std::string_view chunk) {
  loop_.post([this, bytes = std::string(chunk)] { handler_(bytes); });
}

std::vector<std::string> CapturedStreams::lines() const {
  std::vector<std::string> all;
  std::size_t start = 0;
  for (std::size_t end; (end = output.find('\n', start)) != std::string::npos; start = end + 1) {
    all.push_back(output.substr(start, end - start));
  }
  return all;
}

}  // namespace parlen::test
