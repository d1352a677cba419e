#include "XelPushClient/Testing/Simulation/SimulatedService.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Testing/Simulation/FaultEffects.h"
#include "XelPushClient/Testing/Simulation/SimulationTrace.h"

namespace xel {
namespace {

const FaultEffect& effectOf(FaultKind what) {
    for (const auto effects :
         {brokerFaultEffects(), backendFaultEffects(), networkFaultEffects(), diskFaultEffects()}) {
        const auto at = std::find_if(effects.begin(), effects.end(),
                                     [&](const FaultEffect& effect) { return effect.what == what; });
        if (at != effects.end()) {
            return *at;
        }
    }
    throw std::logic_error("nothing is known to do for the fault " + std::string(formOf(what).line));
}

}  // namespace

SimulatedService::SimulatedService(FakeMachine& machine)
    : parts_(std::make_unique<SimulatedParts>(machine)) {}

SimulatedService::~SimulatedService() = default;

SimulatedBackend& SimulatedService::backend() {
    return parts_->backend;
}

void SimulatedService::inject(std::string_view line) {
    const auto fault = parseFault(line);
    if (!fault) {
        throw std::invalid_argument(fault.error().localizedDescription());
    }
    inject(fault.value());
}

void SimulatedService::inject(const Fault& fault) {
    endEach([&](const Fault& there) { return there.what == fault.what && there.on == fault.on; });
    note("begins", fault);
    if (formOf(fault.what).span != FaultSpan::Momentary) {
        Active active{fault, nullptr};
        if (fault.duration > std::chrono::milliseconds::zero()) {
            active.end = parts_->machine.runLoop->scheduleOutside(
                fault.duration, life_.guarded([fault](SimulatedService& self) {
                    self.endEach([&](const Fault& there) { return there == fault; });
                }));
        }
        active_.push_back(std::move(active));
    }
    effectOf(fault.what).begin(*parts_, fault);
}

void SimulatedService::heal() {
    endEach([](const Fault&) { return true; });
}

void SimulatedService::heal(FaultKind what) {
    endEach([what](const Fault& there) { return there.what == what; });
}

void SimulatedService::endEach(const std::function<bool(const Fault&)>& isMeant) {
    const auto isNext = [&](const Active& active) { return isMeant(active.fault); };
    // One after the other: the end of one may throw, such as where it kills a client, and the others stay.
    for (auto at = std::find_if(active_.begin(), active_.end(), isNext); at != active_.end();
         at = std::find_if(active_.begin(), active_.end(), isNext)) {
        const auto [fault, timer] = std::move(*at);
        active_.erase(at);
        if (timer) {
            timer->invalidate();
        }
        note("ends", fault);
        effectOf(fault.what).end(*parts_, fault);
    }
}

std::vector<Fault> SimulatedService::faults() const {
    std::vector<Fault> faults;
    for (const auto& active : active_) {
        const auto isWaiting = effectOf(active.fault.what).isWaiting;
        if (isWaiting == nullptr || isWaiting(*parts_, active.fault)) {
            faults.push_back(active.fault);
        }
    }
    return faults;
}

void SimulatedService::setTrace(Trace trace) {
    trace_ = trace ? std::make_unique<SimulationTrace>(parts_->machine, parts_->backend, std::move(trace))
                   : nullptr;
}

void SimulatedService::note(std::string_view event, const Fault& fault) const {
    if (trace_) {
        trace_->note(formatted("fault %@: %@", event, describeFault(fault)));
    }
}

}  // namespace xel
