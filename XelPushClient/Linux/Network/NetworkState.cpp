#include "XelPushClient/Linux/Network/NetworkState.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <vector>

#include <libmnl/libmnl.h>
#include <linux/rtnetlink.h>
#include <net/if.h>

#include "XelPushClient/Linux/Network/NetlinkSocket.h"

namespace xel {

namespace {

constexpr unsigned kDeadLink = RTNH_F_DEAD | RTNH_F_LINKDOWN;
constexpr int kMostAttempts = 3;
constexpr std::uint32_t kSequence = 1;
/// What the kernel packs into one part of a dump at most.
constexpr std::size_t kReceiveBuffer = 32UL * 1024;

struct Candidate {
    unsigned interfaceIndex = 0;
    std::uint32_t metric = std::numeric_limits<std::uint32_t>::max();
};

struct RouteAttributes {
    std::uint32_t table = 0;
    std::uint32_t metric = 0;
    std::uint32_t interfaceIndex = 0;
    const nlattr* nextHops = nullptr;
};

int readAttribute(const nlattr* attribute, void* data) {
    auto& route = *static_cast<RouteAttributes*>(data);
    const bool holdsNumber = mnl_attr_validate(attribute, MNL_TYPE_U32) >= 0;
    switch (mnl_attr_get_type(attribute)) {
        // The message's own field has eight bits; a table beyond 255 has its number here only
        // (rtnetlink(7)).
        case RTA_TABLE: route.table = holdsNumber ? mnl_attr_get_u32(attribute) : route.table; break;
        case RTA_PRIORITY: route.metric = holdsNumber ? mnl_attr_get_u32(attribute) : route.metric; break;
        case RTA_OIF:
            route.interfaceIndex = holdsNumber ? mnl_attr_get_u32(attribute) : route.interfaceIndex;
            break;
        case RTA_MULTIPATH: route.nextHops = attribute; break;
        default: break;
    }
    return MNL_CB_OK;
}

/// The interface of the first hop whose link is up; 0: none.
unsigned firstLivingHop(const nlattr* hops) {
    const auto* hop = static_cast<const rtnexthop*>(mnl_attr_get_payload(hops));
    std::size_t left = mnl_attr_get_payload_len(hops);
    while (left >= sizeof(rtnexthop) && hop->rtnh_len >= sizeof(rtnexthop) && hop->rtnh_len <= left) {
        if ((hop->rtnh_flags & kDeadLink) == 0U) {
            return static_cast<unsigned>(hop->rtnh_ifindex);
        }
        const std::size_t step = RTNH_ALIGN(static_cast<std::size_t>(hop->rtnh_len));
        if (step > left) {
            break;
        }
        left -= step;
        hop = reinterpret_cast<const rtnexthop*>(reinterpret_cast<const char*>(hop) + step);
    }
    return 0;
}

int considerRoute(const nlmsghdr* header, void* data) {
    auto& best = *static_cast<Candidate*>(data);
    if (header->nlmsg_type != RTM_NEWROUTE || mnl_nlmsg_get_payload_len(header) < sizeof(rtmsg)) {
        return MNL_CB_OK;
    }
    const auto* message = static_cast<const rtmsg*>(mnl_nlmsg_get_payload(header));
    // Default routes of other types (unreachable, blackhole, prohibit) lead nowhere.
    if (message->rtm_dst_len != 0 || message->rtm_type != RTN_UNICAST ||
        (message->rtm_flags & kDeadLink) != 0U) {
        return MNL_CB_OK;
    }
    RouteAttributes route;
    route.table = message->rtm_table;
    mnl_attr_parse(header, sizeof(rtmsg), readAttribute, &route);
    if (route.table != RT_TABLE_MAIN) {
        return MNL_CB_OK;
    }
    const unsigned interfaceIndex =
        route.nextHops != nullptr ? firstLivingHop(route.nextHops) : route.interfaceIndex;
    if (interfaceIndex != 0 && (best.interfaceIndex == 0 || route.metric < best.metric)) {
        best = Candidate{interfaceIndex, route.metric};
    }
    return MNL_CB_OK;
}

void writeDumpRequest(std::vector<char>& buffer) {
    nlmsghdr* header = mnl_nlmsg_put_header(buffer.data());
    header->nlmsg_type = RTM_GETROUTE;
    header->nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    header->nlmsg_seq = kSequence;
    auto* message = static_cast<rtmsg*>(mnl_nlmsg_put_extra_header(header, sizeof(rtmsg)));
    message->rtm_family = AF_UNSPEC;
}

/// Reads the whole table once. None when it changed meanwhile, or could not be read.
std::optional<Candidate> dumpRoutes() {
    const auto socket = NetlinkSocket::open(0);
    if (!socket) {
        return std::nullopt;
    }
    Candidate best;
    std::vector<char> buffer(kReceiveBuffer);
    writeDumpRequest(buffer);
    const auto* request = reinterpret_cast<const nlmsghdr*>(buffer.data());
    if (mnl_socket_sendto(socket->get(), request, request->nlmsg_len) < 0) {
        return std::nullopt;
    }
    for (;;) {
        const auto received = mnl_socket_recvfrom(socket->get(), buffer.data(), buffer.size());
        if (received < 0 && errno == EINTR) {
            continue;
        }
        if (received <= 0) {
            return std::nullopt;
        }
        // Fails for a dump that the kernel marks as torn by a change meanwhile (NLM_F_DUMP_INTR).
        const int more = mnl_cb_run(buffer.data(), static_cast<std::size_t>(received), kSequence,
                                    mnl_socket_get_portid(socket->get()), considerRoute, &best);
        if (more <= MNL_CB_STOP) {
            return more == MNL_CB_STOP ? std::optional(best) : std::nullopt;
        }
    }
}

}  // namespace

std::optional<DefaultRoute> readDefaultRoute() {
    std::optional<Candidate> best;
    for (int attempt = 0; attempt < kMostAttempts && !best; ++attempt) {
        best = dumpRoutes();
    }
    std::array<char, IF_NAMESIZE> name{};
    if (!best || best->interfaceIndex == 0 || if_indextoname(best->interfaceIndex, name.data()) == nullptr) {
        return std::nullopt;
    }
    return DefaultRoute{name.data(), networkTypeOfInterface(name.data())};
}

PushClientServerReachabilityNetworkType networkTypeOfInterface(std::string_view name) {
    return name.starts_with("ww") ? PushClientServerReachabilityCelluarNetworkType
                                  : PushClientServerReachabilityWifiNetworkType;
}

}  // namespace xel
