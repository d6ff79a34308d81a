#pragma once

#include <string>

namespace kellanseek::kelseek {

enum class Key {
  Character,
  Up,
  Down,
  Left,
  Right,
  PageUp,
  PageDown,
  Home,
  End,
  Enter,
  Escape,
  Backspace,
  ClearLine,  ///< Ctrl-U
  Redraw,     ///< Ctrl-L
  Interrupt,  ///< Ctrl-C, where the system does not make a signal of it.
};

struct KeyPress {
  Key key = Key::Character;
  std::string text;  ///< Of Key::Character: one character in UTF-8, not a control character of ASCII.

  friend bool operator==(const KeyPress&, const KeyPress&) = default;
};

}  // namespace kellanseek::kelseek
