#include "text/attributes.h"

#include <gtest/gtest.h>
