// The C interface's translation of exceptions into status codes and its thread-local error text.
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "frame/XeloraAlgo_c.h"

namespace {

using XELORAALGO::capi::run;

TEST(CInterfaceErrors, EachExceptionTypeHasItsStatusAndTheTextNamesTheCall) {
    struct Case {
        int status;
        void (*raise)();
        const char* text;
    };
    const Case cases[] = {
        {XELORA_ERROR_INVALID_ARGUMENT, [] { throw std::invalid_argument("Op: k = -1 is out of range"); },
         "Op: k = -1 is out of range"},
        {XELORA_ERROR_LOGIC, [] { throw std::logic_error("Op: CalKR has not run"); }, "Op: CalKR has not run"},
        {XELORA_ERROR_LOGIC, [] { throw std::out_of_range("Op: index 9"); }, "Op: index 9"},
        {XELORA_ERROR_OUT_OF_MEMORY, [] { throw std::bad_alloc(); }, "xelora_Op: out of memory"},
        {XELORA_ERROR_SYSTEM,
         [] { throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again), "thread"); },
         "xelora_Op: thread"},
        {XELORA_ERROR_UNKNOWN, [] { throw std::runtime_error("odd"); }, "xelora_Op: odd"},
        {XELORA_ERROR_UNKNOWN, [] { throw 42; }, "xelora_Op: unknown exception"},
        {XELORA_ERROR_BUFFER_TOO_SMALL, [] { throw XELORAALGO::capi::BufferTooSmall("Op: capacity 2 < 3"); },
         "Op: capacity 2 < 3"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(run("xelora_Op", c.raise), c.status) << c.text;
        EXPECT_EQ(std::string(xelora_last_error()).rfind(c.text, 0), 0u) << xelora_last_error();
    }
    // A success leaves the last failure's text in place, as errno does.
    EXPECT_EQ(run("xelora_Op", [] {}), XELORA_OK);
    EXPECT_EQ(std::string(xelora_last_error()).rfind("Op: capacity", 0), 0u);
}

TEST(CInterfaceErrors, TheErrorTextBelongsToTheFailingThread) {
    run("xelora_Main", [] { throw std::invalid_argument("main thread"); });
    std::string seen;
    std::thread t([&] {
        seen = xelora_last_error();
        run("xelora_Worker", [] { throw std::invalid_argument("worker thread"); });
    });
    t.join();
    EXPECT_EQ(seen, "");
    EXPECT_EQ(std::string(xelora_last_error()), "main thread");
}

TEST(CInterfaceErrors, NullHandleAndNullListsAreInvalidArguments) {
    EXPECT_EQ(xelora_CalKR(nullptr), XELORA_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(std::string(xelora_last_error()), "xelora_CalKR: the handle is NULL");
    xelora_handle* h = nullptr;
    ASSERT_EQ(xelora_create(&h), XELORA_OK);
    EXPECT_EQ(xelora_SetROIInfo(h, nullptr), XELORA_ERROR_INVALID_ARGUMENT);
    EXPECT_EQ(xelora_GetData(h, nullptr), XELORA_ERROR_INVALID_ARGUMENT);
    xelora_destroy(h);
}

}  // namespace
