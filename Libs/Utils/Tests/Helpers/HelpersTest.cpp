#include <gtest/gtest.h>

#include <type_traits>

#include "zaUtils/Helpers/zaFont.h"
#include "zaUtils/Helpers/zaStaticExecute.h"

namespace {

static_assert(std::has_virtual_destructor_v<zaFont> && std::is_abstract_v<zaFont>);

int g_calls = 0;
const zaStaticExecute g_execute([] { ++g_calls; });

TEST(StaticExecute, CallsItsFunctionAtOnce) {
    EXPECT_EQ(g_calls, 1);  // before main
    EXPECT_THROW(zaStaticExecute(nullptr), std::bad_function_call);
}

}  // namespace
