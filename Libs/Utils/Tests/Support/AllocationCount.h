#pragma once

/// How often this program has allocated with `new`. Link AllocationCount.cpp, which replaces the
/// operators.
int allocationCount();
