#include "XelPushClient/Linux/Push/UnifiedPushConnector.h"

#include <algorithm>
#include <utility>

#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "XelPushClient/Linux/Push/WebPushDecryption.h"
#include "XelPushClient/Platform/NSUserDefaults.h"

namespace xel {

UnifiedPushConnector::UnifiedPushConnector(Surroundings surroundings, Events events)
    : surroundings_(std::move(surroundings)), events_(std::move(events)) {
    UnifiedPushBus::Calls calls;
    calls.message = life_.guarded([](auto& self, const std::string& token, const Data& message) {
        self.onceAHomeIsOpen([=](auto& then) { then.takeMessage(token, message); });
    });
    calls.newEndpoint = life_.guarded([](auto& self, const std::string& token, const std::string& endpoint) {
        self.onceAHomeIsOpen([=](auto& then) { then.takeEndpoint(token, endpoint); });
    });
    calls.unregistered = life_.guarded([](auto& self, const std::string& token) {
        self.onceAHomeIsOpen([=](auto& then) { then.takeUnregistered(token); });
    });
    surroundings_.bus->open(std::move(calls));
}

UnifiedPushConnector::~UnifiedPushConnector() {
    if (timer_ != nullptr) {
        timer_->invalidate();
    }
}

void UnifiedPushConnector::onceAHomeIsOpen(Work work) {
    if (hasLoaded_) {
        work(*this);
        return;
    }
    if (waitingCalls_.size() >= kMostWaitingCalls) {
        waitingCalls_.pop_front();
        surroundings_.logSink->write("The oldest push message is dropped: too many wait for a home");
    }
    waitingCalls_.push_back(std::move(work));
}

void UnifiedPushConnector::attachStore(const std::shared_ptr<NSUserDefaults>& store) {
    // The first home keeps the registration for the whole application, as long as it is open.
    if (!store_.expired()) {
        return;
    }
    store_ = store;
    registration_ = loadRegistration(*store);
    toldToken_.reset();
    if (std::exchange(hasLoaded_, true)) {
        return;
    }
    for (auto& call : std::exchange(waitingCalls_, {})) {
        surroundings_.runLoop->post(life_.guarded(std::move(call)));
    }
}

void UnifiedPushConnector::requestToken(Answer answer) {
    answers_.push_back(std::move(answer));
    // Whoever asks while a registration is under way shares its outcome.
    if (!std::exchange(isRegistering_, true)) {
        ++attempt_;
        surroundings_.runLoop->post(life_.guarded([](auto& self) { self.beginRegistration(); }));
    }
}

void UnifiedPushConnector::beginRegistration() {
    if (store_.expired()) {
        endRegistration(makeUnifiedPushError(UnifiedPushErrorCode::NotStored,
                                             "There is no push token: no home is open to keep its keys"));
        return;
    }
    timer_ = surroundings_.runLoop->scheduleTimer(kPatience, life_.guarded([](auto& self) {
        self.endRegistration(makeUnifiedPushError(
            UnifiedPushErrorCode::TimedOut, "There is no push token: no endpoint has come within 10 s"));
    }));
    surroundings_.bus->findDistributors(
        life_.guarded([attempt = attempt_](auto& self, const Result<DistributorNames>& names) {
            if (self.attempt_ != attempt || !self.isRegistering_) {
                return;
            }
            if (names) {
                self.registerWithChosen(names.value());
            } else {
                self.endRegistration(names.error());
            }
        }));
}

void UnifiedPushConnector::registerWithChosen(const DistributorNames& names) {
    const auto distributor = chosenDistributor(names, surroundings_.preferredDistributor,
                                               registration_ ? registration_->distributor : std::string());
    if (!distributor) {
        endRegistration(makeUnifiedPushError(UnifiedPushErrorCode::NoDistributor,
                                             "There is no push token: the session has no distributor"));
        return;
    }
    if (const auto error = prepareRegistration(*distributor, names)) {
        endRegistration(*error);
        return;
    }
    surroundings_.bus->registerWith(
        *distributor, registration_->token,
        life_.guarded([attempt = attempt_](auto& self, const std::optional<NSError>& error) {
            // A success is no token yet: the endpoint comes by a call of its own.
            if (error && self.attempt_ == attempt && self.isRegistering_) {
                self.endRegistration(*error);
            }
        }));
}

/// Another distributor gets a registration of its own: it must not learn what another one knows.
std::optional<NSError> UnifiedPushConnector::prepareRegistration(const std::string& distributor,
                                                                 const DistributorNames& names) {
    if (registration_ && registration_->distributor == distributor) {
        return std::nullopt;
    }
    auto made = makeRegistration(distributor);
    if (!made) {
        return made.error();
    }
    const auto former = std::exchange(registration_, std::move(made).value());
    if (!store()) {
        registration_ = former;
        return makeUnifiedPushError(UnifiedPushErrorCode::NotStored,
                                    "There is no push token: its keys cannot be stored");
    }
    toldToken_.reset();
    // The bus would start one that does not run, only to tell it this.
    if (former &&
        std::find(names.running.begin(), names.running.end(), former->distributor) != names.running.end()) {
        surroundings_.bus->unregisterFrom(former->distributor, former->token);
    }
    return std::nullopt;
}

void UnifiedPushConnector::endRegistration(const Result<Data>& token) {
    isRegistering_ = false;
    if (const auto timer = std::exchange(timer_, nullptr)) {
        timer->invalidate();
    }
    for (auto& answer : std::exchange(answers_, {})) {
        // Each on its own, so that one that throws does not take the others' answers away.
        surroundings_.runLoop->post(
            life_.guarded([answer = std::move(answer), token](auto& /*self*/) { answer(token); }));
    }
}

bool UnifiedPushConnector::isMine(const std::string& token) const {
    return registration_ && registration_->token == token;
}

bool UnifiedPushConnector::store() {
    const auto store = store_.lock();
    return store != nullptr && storeRegistration(*store, *registration_);
}

void UnifiedPushConnector::takeMessage(const std::string& token, const Data& message) {
    if (!isMine(token)) {
        return;
    }
    const auto content = decryptWebPush(registration_->keys, message);
    if (!content) {
        surroundings_.logSink->write("A push message is dropped: " + content.error().localizedDescription());
        return;
    }
    auto payload = surroundings_.json->JSONObjectWithData(content.value());
    if (!payload || payload.value().asDictionary() == nullptr) {
        surroundings_.logSink->write("A push message is dropped: its content is no JSON object");
        return;
    }
    events_.notificationHasCome(std::move(*payload.value().asDictionary()));
}

void UnifiedPushConnector::takeEndpoint(const std::string& token, const std::string& endpoint) {
    if (!isMine(token)) {
        return;
    }
    if (registration_->endpoint != endpoint) {
        registration_->endpoint = endpoint;
        if (!store()) {
            // The distributor tells it again at the next start.
            surroundings_.logSink->write("The endpoint for push messages cannot be stored");
        }
    }
    const Data deviceToken = deviceTokenOf(*registration_);
    const bool isNew = toldToken_ != deviceToken;
    const bool isAsked = isRegistering_;
    const bool wasToldAnother = toldToken_.has_value() && isNew;
    toldToken_ = deviceToken;
    if (isAsked) {
        endRegistration(deviceToken);
    }
    if (isAsked ? wasToldAnother : isNew) {
        events_.tokenHasChanged(deviceToken);
    }
}

void UnifiedPushConnector::takeUnregistered(const std::string& token) {
    if (!isMine(token)) {
        return;
    }
    registration_->endpoint.clear();
    toldToken_.reset();
    if (!store()) {
        surroundings_.logSink->write("The end of the registration for push messages cannot be stored");
    }
    surroundings_.logSink->write("The distributor " + registration_->distributor +
                                 " has ended the registration for push messages");
}

}  // namespace xel
