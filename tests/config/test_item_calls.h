// What the tests' item tables were asked to do.
#pragma once

namespace test_item_calls {
inline int lcd_stopped = 0;
inline int other_stopped = 0;
} // namespace test_item_calls
