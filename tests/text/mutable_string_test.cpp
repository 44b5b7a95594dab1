#include "text/mutable_string.h"

#include <gtest/gtest.h>
