#include "text/charsets.h"

#include <gtest/gtest.h>
