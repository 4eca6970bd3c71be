// Checking the library's misuse errors: the exact exception type and message.
#ifndef XELORAALGO_TESTS_MISUSETESTUTIL_H
#define XELORAALGO_TESTS_MISUSETESTUTIL_H

#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <typeinfo>

namespace misusetest {

// Runs `call` and expects exactly an E (not a subclass) whose message is `message`.
template <class E, class F>
void expectError(F&& call, const std::string& message) {
    try {
        call();
        ADD_FAILURE() << "no exception; expected: " << message;
    } catch (const std::exception& e) {
        EXPECT_TRUE(typeid(e) == typeid(E)) << "thrown " << typeid(e).name() << ": " << e.what();
        EXPECT_EQ(std::string(e.what()), message);
    }
}

template <class F>
void expectInvalid(F&& call, const std::string& message) {
    expectError<std::invalid_argument>(call, message);
}

template <class F>
void expectMissingSetup(F&& call, const std::string& message) {
    expectError<std::logic_error>(call, message);
}

}  // namespace misusetest

#endif
