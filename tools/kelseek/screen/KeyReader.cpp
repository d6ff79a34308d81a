#include "screen/KeyReader.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <optional>
#include <utility>

namespace kellanseek::kelseek {
namespace {

constexpr char kEscape = '\x1b';
/// Longer than any key's sequence. What is longer is not from a keyboard.
constexpr std::size_t kLongestSequence = 32;

/// The beginning of the input as a key; nullopt for what stands for none.
struct Decoded {
  std::size_t length = 0;  ///< 0: the input ends within a sequence.
  std::optional<KeyPress> key;
};

template <std::size_t size>
std::optional<KeyPress> Find(const std::pair<std::string_view, Key> (&keys)[size], std::string_view name) {
  const auto found =
      std::find_if(std::begin(keys), std::end(keys), [name](const auto& each) { return each.first == name; });
  return found == std::end(keys) ? std::nullopt : std::optional(KeyPress{found->second, {}});
}

std::optional<KeyPress> KeyOfControl(char control) {
  constexpr std::pair<std::string_view, Key> kKeys[] = {
      {"\r", Key::Enter},       {"\n", Key::Enter},    {"\b", Key::Backspace},  {"\x7f", Key::Backspace},
      {"\x15", Key::ClearLine}, {"\x0c", Key::Redraw}, {"\x03", Key::Interrupt}};
  return Find(kKeys, std::string_view(&control, 1));
}

/// A sequence without its introducer, and without the modifiers (Shift, Ctrl) of "1;5A".
std::optional<KeyPress> KeyOfSequence(std::string_view sequence) {
  constexpr std::pair<std::string_view, Key> kKeys[] = {
      {"A", Key::Up},   {"B", Key::Down}, {"C", Key::Right},   {"D", Key::Left},
      {"H", Key::Home}, {"F", Key::End},  {"1~", Key::Home},   {"7~", Key::Home},
      {"4~", Key::End}, {"8~", Key::End}, {"5~", Key::PageUp}, {"6~", Key::PageDown}};
  std::string name(sequence.substr(0, sequence.find(';')));
  if (name.size() < sequence.size()) {
    if (sequence.back() != '~') name.clear();
    name += sequence.back();
  }
  return Find(kKeys, name);
}

/// Escape [ parameters, up to a final character from '@' to '~'.
Decoded DecodeControlSequence(std::string_view input) {
  constexpr std::size_t kIntroducer = 2;
  for (std::size_t i = kIntroducer; i < input.size(); ++i) {
    if (input[i] >= '@' && input[i] <= '~')
      return {i + 1, KeyOfSequence(input.substr(kIntroducer, i + 1 - kIntroducer))};
    const bool parameter = input[i] >= ' ' && input[i] <= '?';
    if (!parameter || i == kLongestSequence) return {i, std::nullopt};
  }
  return {};
}

Decoded DecodeEscape(std::string_view input) {
  if (input.size() < 2) return {};
  if (input[1] == '[') return DecodeControlSequence(input);
  // Escape with another character is Alt and that key, or two keys in quick succession: both read as two
  // keys.
  if (input[1] != 'O') return {1, KeyPress{Key::Escape, {}}};
  if (input.size() < 3) return {};
  return {3, KeyOfSequence(input.substr(2, 1))};
}

/// The length of a character in UTF-8 by its first byte; 0 if that begins none.
std::size_t CharacterLength(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

Decoded DecodeCharacter(std::string_view input) {
  const std::size_t length = CharacterLength(static_cast<unsigned char>(input.front()));
  if (length == 0) return {1, std::nullopt};
  for (std::size_t i = 1; i < std::min(length, input.size()); ++i)
    if ((static_cast<unsigned char>(input[i]) & 0xC0) != 0x80) return {i, std::nullopt};
  if (input.size() < length) return {};
  return {length, KeyPress{Key::Character, std::string(input.substr(0, length))}};
}

Decoded Decode(std::string_view input) {
  const char first = input.front();
  if (first == kEscape) return DecodeEscape(input);
  if (static_cast<unsigned char>(first) < ' ' || first == '\x7f') return {1, KeyOfControl(first)};
  return DecodeCharacter(input);
}

}  // namespace

std::vector<KeyPress> KeyReader::Read(std::string_view bytes) {
  pending_ += bytes;
  std::vector<KeyPress> keys;
  std::string_view left = pending_;
  while (!left.empty()) {
    const Decoded decoded = Decode(left);
    if (decoded.length == 0) break;
    if (decoded.key) keys.push_back(*decoded.key);
    left.remove_prefix(decoded.length);
  }
  pending_.erase(0, pending_.size() - left.size());
  return keys;
}

std::vector<KeyPress> KeyReader::Flush() {
  const std::string beginning = std::exchange(pending_, {});
  if (beginning == "\x1b") return {KeyPress{Key::Escape, {}}};
  // Escape and "[" or "O", typed by hand.
  if (beginning.size() == 2 && beginning[0] == kEscape)
    return {KeyPress{Key::Escape, {}}, KeyPress{Key::Character, beginning.substr(1)}};
  return {};
}

}  // namespace kellanseek::kelseek
