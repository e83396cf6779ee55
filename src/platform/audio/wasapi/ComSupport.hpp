#pragma once

#include <string>
#include <utility>

#include "WindowsHeaders.hpp"

namespace audio::wasapi {

// One counted reference to a COM object, released when it goes out of scope.
template <typename T>
class ComPtr {
public:
    ComPtr() = default;
    // Takes over a reference the caller owns.
    explicit ComPtr(T* owned) : object_(owned) {}
    ComPtr(const ComPtr& other) : object_(other.object_) {
        if (object_ != nullptr) {
            object_->AddRef();
        }
    }
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~ComPtr() { reset(); }

    void reset() {
        if (object_ != nullptr) {
            std::exchange(object_, nullptr)->Release();
        }
    }
    T* get() const { return object_; }
    T* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }
    // For a call that hands out a new reference; drops the one held before.
    T** put() {
        reset();
        return &object_;
    }
    void** putVoid() { return reinterpret_cast<void**>(put()); }

    // QueryInterface for another interface of the same object.
    template <typename U>
    HRESULT as(ComPtr<U>& other) const {
        return object_ == nullptr ? E_POINTER
                                  : object_->QueryInterface(__uuidof(U), other.putVoid());
    }

private:
    T* object_ = nullptr;
};

// A string the callee allocated with CoTaskMemAlloc, freed with CoTaskMemFree.
class CoTaskString {
public:
    CoTaskString() = default;
    ~CoTaskString() { CoTaskMemFree(text_); }
    CoTaskString(const CoTaskString&) = delete;
    CoTaskString& operator=(const CoTaskString&) = delete;
    LPWSTR* put() {
        CoTaskMemFree(text_);
        text_ = nullptr;
        return &text_;
    }
    const wchar_t* get() const { return text_ != nullptr ? text_ : L""; }

private:
    LPWSTR text_ = nullptr;
};

// UTF-16 as Windows hands it out, to the layer's UTF-8, and back.
std::string toUtf8(const wchar_t* text);
std::wstring toWide(const std::string& text);

}  // namespace audio::wasapi
