#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <type_traits>

namespace kvo {

// A growable array of plain values: pointer, size, capacity. Resizing keeps
// the block when the new size is below the capacity and above half of it;
// otherwise it allocates exactly the new size, keeps the common prefix and
// zero-fills the rest. Size 0 frees everything.
template <typename T>
class GrowableArray {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    GrowableArray() = default;
    GrowableArray(const GrowableArray& other) { assign(other.data(), other.size()); }
    GrowableArray& operator=(const GrowableArray& other) {
        if (this != &other) {
            assign(other.data(), other.size());
        }
        return *this;
    }
    GrowableArray(GrowableArray&& other) noexcept { swap(other); }
    GrowableArray& operator=(GrowableArray&& other) noexcept {
        GrowableArray moved(std::move(other));
        swap(moved);
        return *this;
    }
    ~GrowableArray() { delete[] data_; }

    T* data() { return data_; }
    const T* data() const { return data_; }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }
    T& operator[](std::size_t index) { return data_[index]; }
    const T& operator[](std::size_t index) const { return data_[index]; }

    void resize(std::size_t newSize) {
        if (newSize == size_) {
            return;
        }
        if (newSize == 0) {
            clear();
            return;
        }
        if (newSize < capacity_ && newSize > capacity_ / 2) {
            size_ = newSize;
            return;
        }
        T* const block = new T[newSize]();
        if (data_ != nullptr) {
            std::memcpy(block, data_, std::min(size_, newSize) * sizeof(T));
        }
        delete[] data_;
        data_ = block;
        size_ = newSize;
        capacity_ = newSize;
    }

    // Frees the old block and copies `count` values.
    void assign(const T* values, std::size_t count) {
        clear();
        if (count > 0) {
            data_ = new T[count];
            std::memcpy(data_, values, count * sizeof(T));
            size_ = count;
            capacity_ = count;
        }
    }

    void clear() {
        delete[] data_;
        data_ = nullptr;
        size_ = 0;
        capacity_ = 0;
    }

    void swap(GrowableArray& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        std::swap(capacity_, other.capacity_);
    }

private:
    T* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

using ByteArray = GrowableArray<unsigned char>;

}  // namespace kvo
