#pragma once

/// Calls `call(argument)`: 0, or the code of the structured exception that came out of it (1 for one whose
/// code is 0). A function with a plain name, since for some compilers it is written in assembler.
extern "C" unsigned long KelStructuredCall(void (*call)(void*), void* argument);
