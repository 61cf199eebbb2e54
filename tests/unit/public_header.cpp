/* The same source as C++. */
#include "public_header.c"  // NOLINT
