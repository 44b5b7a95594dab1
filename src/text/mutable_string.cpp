#include "text/mutable_string.h"
