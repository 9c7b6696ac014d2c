#include "zaProduct/zaProduct.h"

const zaProduct& zaProduct::the() {
    static const zaProduct product;
    return product;
}

const char* zaProduct::getName() const {
    return ZAPRODUCT_NAME;
}

const char* zaProduct::getFullName() const {
    return ZAPRODUCT_FULL_NAME;
}
