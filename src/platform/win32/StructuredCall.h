#pragma once

/// Calls `call(argument)`. Returns 0, or the code of the structured exception that ended the call (1 if that
/// code is 0). Has C linkage because some compilers need it written in assembler.
extern "C" unsigned long KelStructuredCall(void (*call)(void*), void* argument);
