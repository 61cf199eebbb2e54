#include "low/used.h"
