#pragma once

// Marks the classes and functions that the shared library exports; everything else is hidden.
#define VX_TRANSFERS_API __attribute__((visibility("default")))
