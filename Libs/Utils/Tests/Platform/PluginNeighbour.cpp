extern "C" int neighbour() {
    return 42;
}
