#include "XelPushClient/Classes/GeoLocation/UsableFix.h"

#include <cmath>

namespace xel {

bool isUsableFix(const CLLocation& fix, Date now) {
    return CLLocationCoordinate2DIsValid(fix.coordinate) &&
           std::abs((now - fix.timestamp).count()) <= kOldestUsableFix;
}

bool isAccurateWithin(const CLLocation& fix, double metres) {
    return fix.horizontalAccuracy > 0.0 && fix.horizontalAccuracy <= metres;
}

}  // namespace xel
