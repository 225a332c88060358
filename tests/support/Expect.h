#pragma once

#include <gtest/gtest.h>

// That a text has a part.
#define EXPECT_HAS(part, text) EXPECT_PRED_FORMAT2(testing::IsSubstring, part, text)
