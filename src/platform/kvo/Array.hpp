#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <utility>

#include "Assert.hpp"

namespace kvo {

// The module's array: one block of elements with a size and a capacity. A new
// array holds 8; appending past the capacity grows it to 8 doubled until the
// required size fits. Every indexed access is checked. Elements are plain
// values of T (also for bool), so operator[] always yields a T&.
template <typename T>
class Array {
public:
    static constexpr std::uint32_t kInitialCapacity = 8;

    Array() : items_(new T[kInitialCapacity]()), capacity_(kInitialCapacity) {}
    Array(std::initializer_list<T> items) : Array() {
        for (const T& item : items) {
            append(item);
        }
    }
    Array(const Array& other)
        : items_(new T[other.capacity_]()), size_(other.size_), capacity_(other.capacity_) {
        std::copy(other.begin(), other.end(), items_.get());
    }
    Array& operator=(const Array& other) {
        if (this != &other) {
            Array copy(other);
            swap(copy);
        }
        return *this;
    }
    Array(Array&& other) noexcept : Array() { swap(other); }
    Array& operator=(Array&& other) noexcept {
        swap(other);
        return *this;
    }

    std::uint32_t size() const { return size_; }
    std::uint32_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }

    T& operator[](std::uint32_t index) {
        KVO_ASSERT(index < size());
        return items_[index];
    }
    const T& operator[](std::uint32_t index) const {
        KVO_ASSERT(index < size());
        return items_[index];
    }

    void append(T item) {
        reserveFor(size_ + 1);
        items_[size_++] = std::move(item);
    }

    // Removes the element at `index`; the elements after it move down by one.
    void remove(std::uint32_t index) {
        KVO_ASSERT(index < size());
        std::move(items_.get() + index + 1, items_.get() + size_, items_.get() + index);
        items_[--size_] = T();
    }

    void clear() {
        for (std::uint32_t i = 0; i < size_; ++i) {
            items_[i] = T();
        }
        size_ = 0;
    }

    T* data() { return items_.get(); }
    const T* data() const { return items_.get(); }
    T* begin() { return items_.get(); }
    T* end() { return items_.get() + size_; }
    const T* begin() const { return items_.get(); }
    const T* end() const { return items_.get() + size_; }

    bool operator==(const Array& other) const {
        return std::equal(begin(), end(), other.begin(), other.end());
    }

    void swap(Array& other) noexcept {
        std::swap(items_, other.items_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

private:
    void reserveFor(std::uint32_t required) {
        if (required <= capacity_) {
            return;
        }
        std::uint32_t capacity = capacity_;
        while (capacity < required) {
            capacity = capacity > UINT32_MAX / 2 ? required : capacity * 2;
        }
        std::unique_ptr<T[]> block(new T[capacity]());
        std::move(items_.get(), items_.get() + size_, block.get());
        items_ = std::move(block);
        capacity_ = capacity;
    }

    std::unique_ptr<T[]> items_;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
};

}  // namespace kvo
