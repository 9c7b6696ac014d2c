#include "zaProduct/zaProduct.h"

#include <cstdio>

int main() {
    std::printf("product '%s'\n", zaProduct::the().getName());
    return 0;
}
