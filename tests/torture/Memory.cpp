#include "tests/torture/Memory.h"

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace xel::torture {
namespace {

thread_local bool isInClient = false;

bool isDenied() {
    return isInClient && memoryStrokes().falls();
}

void* allocate(std::size_t size) {
    return isDenied() ? nullptr : std::malloc(size == 0 ? 1 : size);
}

void* allocate(std::size_t size, std::align_val_t alignment) {
    const auto step = static_cast<std::size_t>(alignment);
    return isDenied() ? nullptr : std::aligned_alloc(step, (size + step - 1) / step * step);
}

template <class... Alignment>
void* allocateOrThrow(std::size_t size, Alignment... alignment) {
    void* const memory = allocate(size, alignment...);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

Strokes& memoryStrokes() {
    static Strokes strokes;
    return strokes;
}

void needMemory() {
    if (isDenied()) {
        throw std::bad_alloc();
    }
}

InClient::InClient() : wasInClient_(std::exchange(isInClient, true)) {}
InClient::~InClient() {
    isInClient = wasInClient_;
}

OutsideClient::OutsideClient() : wasInClient_(std::exchange(isInClient, false)) {}
OutsideClient::~OutsideClient() {
    isInClient = wasInClient_;
}

}  // namespace xel::torture

using xel::torture::allocate;
using xel::torture::allocateOrThrow;

// Every form, because a sanitizer's own would stand in for one that is missing and not know the others'
// memory.

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocateOrThrow(size, alignment);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size, alignment);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
