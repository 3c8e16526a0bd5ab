#include <utility>

#include "configstore/exceptions.h"

namespace Helm {
namespace Lib {

namespace {

constexpr const char* kHeader = "\nPulse Stack: \n";

// Fills "%s" with the arguments in order and turns "%%" into "%"; any other
// character, and a "%s" beyond the last argument, is kept as written.
std::string FormatEntry(const std::string& format, const std::vector<std::string>& args) {
  std::string text;
  text.reserve(format.size());
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const bool directive = format[i] == '%' && i + 1 < format.size();
    if (directive && format[i + 1] == '%') {
      text += '%';
      ++i;
    } else if (directive && format[i + 1] == 's' && next < args.size()) {
      text += args[next++];
      ++i;
    } else {
      text += format[i];
    }
  }
  return text;
}

}  // namespace

void PulseMessage::Add(std::string tag, std::string format, std::vector<std::string> args) {
  chain_.push_front(Entry{std::move(tag), std::move(format), std::move(args)});
}

std::string PulseMessage::ToString() const {
  if (chain_.empty()) return std::string();
  std::vector<std::string> pieces;
  std::size_t total = std::char_traits<char>::length(kHeader);
  for (const Entry& entry : chain_) {
    pieces.push_back("[" + entry.tag + "]: " + FormatEntry(entry.format, entry.args));
    total += pieces.back().size();
  }
  std::string text;
  text.reserve(total);
  text += kHeader;
  // The head of the chain is the newest entry; the stack reads oldest first.
  for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) text += *piece;
  return text;
}

}  // namespace Lib
}  // namespace Helm
