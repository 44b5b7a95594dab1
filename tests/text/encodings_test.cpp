#include "text/encodings.h"

#include <gtest/gtest.h>
