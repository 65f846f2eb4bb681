// The deliberate stop for programming errors (an unbalanced BusyEnd, a random range of width 0):
// the reason goes to stderr and the process aborts. Never real undefined behaviour.
#pragma once

[[noreturn]] void vemo_trap(const char *reason);
