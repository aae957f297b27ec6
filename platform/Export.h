/// The export macro: the library is built with hidden visibility, and what a user of libMpls.so may
/// call, catch or derive from is marked with it.
#pragma once

#define MPLS_EXPORT __attribute__((visibility("default")))
