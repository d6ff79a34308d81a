#pragma once

/// Calls `call(argument)`: 1, or 0 when a structured exception came out of it. A function with a plain name,
/// since for some compilers it is written in assembler.
extern "C" int KelStructuredCall(void (*call)(void*), void* argument);
