#include "bench/gateway/GatewayFigures.h"

#include <sstream>

#include "bench/common/ProcessTables.h"
#include "bench/common/SubjectRun.h"

namespace xel::bench {

GatewayFigures::GatewayFigures() : before_(held()), began_(now()) {}

GatewayFigures::Instant GatewayFigures::now() {
    return {std::chrono::steady_clock::now(), processCpuMicroseconds()};
}

GatewayFigures::Holding GatewayFigures::held() {
    return {ownKilobytes(), openDescriptors(), threadsOfProcess()};
}

void GatewayFigures::didSettle() {
    idle_ = held();
}

void GatewayFigures::willFanOut() {
    fanOutBegan_ = now();
}

void GatewayFigures::didFanOut() {
    fanOutEnded_ = now();
}

void GatewayFigures::didSettleAgain() {
    fanOutCpu_ = now().cpuMicroseconds - fanOutBegan_.cpuMicroseconds;
    after_ = held();
}

std::string GatewayFigures::describe(std::size_t clients) const {
    const auto count = static_cast<double>(clients);
    const auto kilobytes = [&](const Holding& holding) {
        return (static_cast<double>(holding.ownKilobytes) - static_cast<double>(before_.ownKilobytes)) /
               count;
    };
    const auto seconds = [](const Instant& from, const Instant& to) {
        return std::chrono::duration<double>(to.time - from.time).count();
    };
    std::ostringstream line;
    line << R"({"clients":)" << clients << R"(,"kb_each":)" << kilobytes(idle_) << R"(,"kb_each_after":)"
         << kilobytes(after_) << R"(,"descriptors_each":)"
         << static_cast<double>(idle_.descriptors - before_.descriptors) / count << R"(,"threads":)"
         << idle_.threads << R"(,"open_s":)" << seconds(began_, opened_) << R"(,"connect_s":)"
         << seconds(opened_, connected_) << R"(,"connect_cpu_us_each":)"
         << (connected_.cpuMicroseconds - opened_.cpuMicroseconds) / count << R"(,"fan_out_s":)"
         << seconds(fanOutBegan_, fanOutEnded_) << R"(,"fan_out_cpu_us_each":)" << fanOutCpu_ / count << "}";
    return line.str();
}

}  // namespace xel::bench
