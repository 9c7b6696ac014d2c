#include "Crashes.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <stdexcept>

namespace {

/// Read and written so that the compiler cannot know what will happen.
volatile int g_sink = 0;
int* volatile g_nothing = nullptr;

void crashOnNullPointer() {
    *g_nothing = 42;
    g_sink = 1;
}

void callNullPointer() {
    void (*volatile function)() = nullptr;
    function();  // NOLINT(clang-analyzer-core.CallAndMessage): as it shall
    g_sink = 1;
}

void abortDeliberately() {
    if (g_sink == 0) std::abort();
    g_sink = 1;
}

// Two in turn, with room on the stack that is used.
int overflowStack(int depth);

int overflowStackFurther(int depth) {
    volatile char room[1000];
    room[depth % 1000] = static_cast<char>(depth);
    return overflowStack(depth + 1) + room[depth % 1000];
}

int overflowStack(int depth) {
    volatile char room[1000];
    room[depth % 1000] = static_cast<char>(depth);
    return overflowStackFurther(depth + 1) + room[depth % 1000];
}

void crashByRecursion() {
    g_sink = overflowStack(0);
}

class Shape {
public:
    Shape() { announce(this); }
    virtual ~Shape() = default;
    Shape(const Shape&) = delete;
    Shape& operator=(const Shape&) = delete;

    static void announce(const Shape* shape) {
        const Shape* volatile same = shape;  // of which nothing is known any more
        g_sink = same->area();  // NOLINT(clang-analyzer-cplusplus.PureVirtualCall): as it shall
    }
    virtual int area() const = 0;
};

class Square : public Shape {
public:
    int area() const override { return 4; }
};

class Circle : public Shape {
public:
    int area() const override { return 3; }
};

void callPureFunction() {
    const std::unique_ptr<Shape> shape =
        g_sink == 7 ? std::unique_ptr<Shape>(new Circle) : std::unique_ptr<Shape>(new Square);
    g_sink = shape->area();
}

template <typename T>
T* pointerTo(std::uintptr_t address) {
    return reinterpret_cast<T*>(address);  // NOLINT(performance-no-int-to-ptr)
}

/// Overwrites what the allocator keeps in and between its blocks, then goes on with it.
void corruptHeap() {
    constexpr std::size_t kSize = 64;
    constexpr int kBlocks = 256;
    static std::uintptr_t blocks[kBlocks];
    for (std::uintptr_t& block : blocks)
        block = reinterpret_cast<std::uintptr_t>(std::malloc(kSize));
    for (int i = 0; i < kBlocks; i += 2)
        std::free(pointerTo<void>(blocks[i]));
    for (const std::uintptr_t block : blocks) {
        auto* volatile bytes = pointerTo<volatile char>(block);
        for (std::size_t i = 0; i < kSize + 16; ++i)
            bytes[i] = '\x5A';
    }
    for (int i = 0; i < kBlocks; ++i)
        blocks[i] = reinterpret_cast<std::uintptr_t>(std::malloc(kSize));
    for (const std::uintptr_t block : blocks)
        std::free(pointerTo<void>(block));
    g_sink = 1;
}

void throwUncaught() {
    if (g_sink == 0) throw std::runtime_error("nobody catches this");
    g_sink = 1;
}

}  // namespace

const std::map<std::string, void (*)()>& crashes() {
    static const std::map<std::string, void (*)()> all = {
        {"null-pointer", crashOnNullPointer}, {"null-call", callNullPointer},
        {"abort", abortDeliberately},         {"stack-overflow", crashByRecursion},
        {"pure-call", callPureFunction},      {"heap-corruption", corruptHeap},
        {"exception", throwUncaught}};
    return all;
}
