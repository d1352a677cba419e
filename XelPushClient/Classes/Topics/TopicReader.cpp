#include "XelPushClient/Classes/Topics/TopicReader.h"

#include "XelPushClient/Classes/Topics/TopicScheme.h"
#include "XelPushClient/Platform/Diagnostics.h"

namespace xel {

const TopicReader::Reading& TopicReader::read(std::string_view topic,
                                              const std::optional<std::string>& appId) {
    if (!hasRead_ || topic != topic_ || appId != appId_) {
        hasRead_ = false;  // until all of it is there: memory may run out in between
        topic_ = topic;
        appId_ = appId;
        reading_ = {kindOfPublicationOn(topic, appId), getChannelFromTopic(topic)};
        hasRead_ = true;
    }
    return reading_;
}

}  // namespace xel
