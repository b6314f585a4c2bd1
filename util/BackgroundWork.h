#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

// Runs work on a thread pool while the calling thread keeps
// processing pending events, so a window stays responsive during a long
// single call. The caller blocks until the work is done; whatever the work
// touches must be left alone by the event handlers meanwhile.
class BackgroundWork {
public:
    // Returns what function returns.
    template <typename Function> static std::invoke_result_t<Function> run(Function function)
    {
        using Result = std::invoke_result_t<Function>;
        if constexpr (std::is_void_v<Result>) {
            runOnWorkers(1, function);
        } else {
            std::optional<Result> result;
            runOnWorkers(1, [&result, &function] { result.emplace(function()); });
            return std::move(*result);
        }
    }

    // Runs function on workers pool threads at once and returns when all
    // have finished.
    static void runOnWorkers(int workers, const std::function<void()>& function);

    // Longest time the calling thread goes without processing events.
    static constexpr int eventIntervalMs = 20;
};
