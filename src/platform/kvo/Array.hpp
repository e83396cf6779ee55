#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "Assert.hpp"

namespace kvo {

// The module's array: a new array reserves 8 elements and grows to 8 doubled
// until the required size fits; every indexed access is checked.
template <typename T>
class Array {
public:
    static constexpr std::uint32_t kInitialCapacity = 8;

    Array() { items_.reserve(kInitialCapacity); }
    explicit Array(std::uint32_t size) : Array() {
        reserveFor(size);
        items_.resize(size);
    }
    Array(std::initializer_list<T> items) : Array() {
        for (const T& item : items) {
            append(item);
        }
    }

    std::uint32_t size() const { return static_cast<std::uint32_t>(items_.size()); }
    std::uint32_t capacity() const { return static_cast<std::uint32_t>(items_.capacity()); }
    bool empty() const { return items_.empty(); }

    T& operator[](std::uint32_t index) {
        KVO_ASSERT(index < size());
        return items_[index];
    }
    const T& operator[](std::uint32_t index) const {
        KVO_ASSERT(index < size());
        return items_[index];
    }

    void append(T item) {
        reserveFor(size() + 1);
        items_.push_back(std::move(item));
    }

    // Removes the element at `index`; the elements after it move down by one.
    void remove(std::uint32_t index) {
        KVO_ASSERT(index < size());
        items_.erase(items_.begin() + index);
    }

    void clear() { items_.clear(); }

    T* data() { return items_.data(); }
    const T* data() const { return items_.data(); }
    auto begin() { return items_.begin(); }
    auto end() { return items_.end(); }
    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

    bool operator==(const Array& other) const = default;

private:
    void reserveFor(std::uint32_t required) {
        std::uint32_t capacity = std::max<std::uint32_t>(this->capacity(), kInitialCapacity);
        while (capacity < required) {
            capacity = capacity > UINT32_MAX / 2 ? required : capacity * 2;
        }
        items_.reserve(capacity);
    }

    std::vector<T> items_;
};

}  // namespace kvo
