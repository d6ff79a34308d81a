#pragma once

namespace kellanseek::platform {

/// Switches standard output to UTF-8 if it is a terminal.
void UseUtf8Output();

/// Occupies the descriptors of standard streams that were closed at the start, so that no file or socket
/// opened later takes their place and receives the program's output. Writing to such a stream keeps failing.
/// Call it before opening anything.
void ReserveClosedStreams();

/// Writes line ends to standard output as they are, where the system would otherwise change them.
void KeepLineEnds();

/// Whether standard output is a terminal that understands escape sequences. Switches them on where necessary.
bool OutputTakesColours();

/// Whether standard error is a terminal, so that somebody sees a line that is overwritten.
bool ErrorsAreSeen();

}  // namespace kellanseek::platform
