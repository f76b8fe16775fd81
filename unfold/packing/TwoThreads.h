#pragma once
// Running two pieces of work at once: the second on a helper thread, the first on the
// caller's. An exception in either is passed on after both have ended.

#include <exception>
#include <thread>

namespace ORVO {

template <typename First, typename Second>
void _RunOnTwoThreads(First&& first, Second&& second) {
    std::exception_ptr failure;
    std::thread helper([&] {
        try {
            second();
        } catch (...) {
            failure = std::current_exception();
        }
    });
    try {
        first();
    } catch (...) {
        helper.join();
        throw;
    }
    helper.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace ORVO
