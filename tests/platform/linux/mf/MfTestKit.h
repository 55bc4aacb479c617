// What the tests of the media pipeline share: a platform that is started, callbacks, and waits that
// fail instead of lasting.
#pragma once

#include <gtest/gtest.h>
#include <mfapi.h>
#include <mfidl.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include "com/ComObject.h"

namespace Vimbrel::test {

constexpr std::chrono::seconds patience(20);

// A count that can be waited for.
class Counter {
public:
    void Add() {
        const std::lock_guard guard(lock_);
        ++value_;
        changed_.notify_all();
    }
    [[nodiscard]] bool WaitFor(int value) {
        std::unique_lock guard(lock_);
        return changed_.wait_for(guard, patience, [&] { return value_ >= value; });
    }
    int Value() {
        const std::lock_guard guard(lock_);
        return value_;
    }

private:
    std::mutex lock_;
    std::condition_variable changed_;
    int value_ = 0;
};

class Callback final : public ComObject<Implements<IMFAsyncCallback>> {
public:
    using Function = std::function<void(IMFAsyncResult*)>;
    explicit Callback(Function function) : function_(std::move(function)) {}
    ~Callback() override {
        if (gone) gone->Add();
    }

    HRESULT STDMETHODCALLTYPE GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override {
        function_(result);
        return S_OK;
    }

    Counter* gone = nullptr;  // told of the object's end

private:
    Function function_;
};

class MediaTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(MFStartup(MF_VERSION, MFSTARTUP_FULL), S_OK); }
    void TearDown() override { EXPECT_EQ(MFShutdown(), S_OK); }
};

}  // namespace Vimbrel::test
