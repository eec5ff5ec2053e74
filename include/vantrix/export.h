#pragma once

/// Marks what the shared library exports; everything else in it has hidden visibility.
#define VANTRIX_API __attribute__((visibility("default")))
