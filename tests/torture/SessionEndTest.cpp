// A session may be destroyed when there is no memory for its closing: nothing leaves its destructor.

#include <cstddef>
#include <memory>
#include <new>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/MQTTClientSessionFactory.h"
#include "tests/torture/Memory.h"
#include "tests/torture/TorturedPorts.h"
#include "tests/unit/MQTTSDK/SessionTest.h"

namespace xel::torture {
namespace {

class SessionEndWithoutMemory : public SessionTest {
protected:
    /// Connects anew and destroys the session while allocations fail from one on; whether one did.
    bool destroyWithout(std::size_t allocation) {
        TorturedRunLoop torturedLoop(loop);
        Strokes portStrokes;
        MQTTClientSessionFactory factory(std::make_shared<TorturedStreams>(network, loop, portStrokes), clock,
                                         nullptr, options);
        session = factory.makeSession(parameters, torturedLoop, memory);
        connectQuietly();
        EXPECT_TRUE(session->publishDataAtLeastOnce("data", "t", false).isOk());
        memoryStrokes().begin(allocation, Span::ForGood);
        {
            const InClient destroying;
            session.reset();
        }
        memoryStrokes().heal();
        try {
            run();
        } catch (const std::bad_alloc&) {
            // What the closing could not do.
        }
        return memoryStrokes().hasFallen();
    }
};

TEST_F(SessionEndWithoutMemory, LetsNothingOutOfTheDestructor) {
    std::size_t allocation = 1;
    while (destroyWithout(allocation)) {
        ++allocation;
    }
    EXPECT_GT(allocation, 2U);
}

}  // namespace
}  // namespace xel::torture
