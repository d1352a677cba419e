#include "tests/soak/SoakVerdict.h"

#include <algorithm>

namespace xel::soak {
namespace {

constexpr std::size_t kFewestSamples = 8;
constexpr std::size_t kMiB = std::size_t{1024} * 1024;
constexpr std::size_t kPercent = 3;

template <class Iterator>
ProcessSample mostOf(Iterator begin, Iterator end) {
    ProcessSample most;
    for (; begin != end; ++begin) {
        most.memory = std::max(most.memory, begin->memory);
        most.descriptors = std::max(most.descriptors, begin->descriptors);
        most.threads = std::max(most.threads, begin->threads);
        most.store = std::max(most.store, begin->store);
    }
    return most;
}

std::size_t allowance(std::size_t warm, std::size_t inAnyCase) {
    return std::max(inAnyCase, warm * kPercent / 100);
}

}  // namespace

SoakVerdict judge(const std::vector<ProcessSample>& samples) {
    SoakVerdict verdict;
    if (samples.size() < kFewestSamples) {
        verdict.grown.push_back("too few samples to tell: " + std::to_string(samples.size()));
        return verdict;
    }
    const auto quarter = static_cast<std::ptrdiff_t>(samples.size() / 4);
    verdict.warm = mostOf(samples.begin() + quarter, samples.begin() + 2 * quarter);
    verdict.last = mostOf(samples.end() - quarter, samples.end());
    const auto look = [&verdict](const char* what, std::size_t warm, std::size_t last, std::size_t allowed) {
        if (last > warm + allowed) {
            verdict.grown.push_back(std::string(what) + " from " + std::to_string(warm) + " to " +
                                    std::to_string(last));
        }
    };
    look("memory", verdict.warm.memory, verdict.last.memory, allowance(verdict.warm.memory, 2 * kMiB));
    look("descriptors", verdict.warm.descriptors, verdict.last.descriptors, 2);
    look("threads", verdict.warm.threads, verdict.last.threads, 2);
    look("store", verdict.warm.store, verdict.last.store, allowance(verdict.warm.store, kMiB));
    return verdict;
}

}  // namespace xel::soak
