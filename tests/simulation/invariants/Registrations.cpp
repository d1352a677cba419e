#include "tests/simulation/invariants/Registrations.h"

namespace xel::simulation {
namespace {

bool savesInstallation(const Fact& request) {
    return request.text.starts_with("POST ") || request.text.starts_with("PUT ");
}

}  // namespace

void Registrations::take(const Fact& fact) {
    Client& client = clients_[fact.client];
    switch (fact.kind) {
        case FactKind::LifeBegan: client = {}; return;
        case FactKind::MemoryErased: endIdentity(client); return;
        case FactKind::HostActed:
            // Also where no memory is erased, because nobody knows yet whose that would be.
            if (fact.name == "reset" || fact.name == "unregisterUser") {
                endIdentity(client);
            }
            return;
        case FactKind::Requested:
            if (savesInstallation(fact)) {
                client.identityOf[fact.request] = client.identity;
            }
            return;
        case FactKind::Answered: takeAnswer(client, fact); return;
        case FactKind::HostHears:
            if (fact.name == "pushClientManagerDidRegisterUser" && !client.isSaved) {
                breaks("the host was told of a registration that nobody asked for since the identity before");
            }
            return;
        default: return;
    }
}

void Registrations::takeAnswer(Client& client, const Fact& fact) {
    const auto asked = client.identityOf.find(fact.request);
    if (asked == client.identityOf.end()) {
        return;
    }
    if (fact.ok && asked->second == client.identity) {
        client.isSaved = true;
    }
    client.identityOf.erase(asked);
}

void Registrations::endIdentity(Client& client) {
    ++client.identity;
    client.isSaved = false;
}

}  // namespace xel::simulation
