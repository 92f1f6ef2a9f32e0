#include "platform/system/StoreLookup.h"

#include "platform/host/device/SimulatedDevice.h"
#include "platform/host/services/SimulatedStoreCatalogue.h"

namespace lumora::platform {

StoreLookupItem::StoreLookupItem(DictionaryRef properties)
    : properties_(properties ? std::move(properties) : std::make_shared<const Dictionary>())
{ }

const Value& StoreLookupItem::valueForProperty(std::string_view property) const
{
    return properties_->valueForKey(property);
}

StoreLookupResponse::StoreLookupResponse(std::vector<std::shared_ptr<const StoreLookupItem>> items)
    : items_(std::move(items))
{ }

void StoreLookupRequest::setValue_forRequestParameter(Value value, const std::string& parameter)
{
    (*parameters_)[parameter] = std::move(value);
}

Value StoreLookupRequest::valueForRequestParameter(std::string_view parameter) const
{
    return parameters_->valueForKey(parameter);
}

void StoreLookupRequest::startWithResponseHandler(ResponseHandler handler)
{
    host::SimulatedStoreCatalogue::Request request { keyProfile_, localizationStyle_,
        valueForRequestParameter(BundleIdentifiersParameter) };
    // The platform keeps the request until it has answered.
    auto respond = [self = sharedFrom(this), handler = std::move(handler)](
                       std::shared_ptr<const StoreLookupResponse> response, ErrorRef error) {
        if (handler) {
            handler(std::move(response), std::move(error));
        }
    };
    host::SimulatedDevice::shared().storeCatalogue().answer(std::move(request), std::move(respond));
}

} // namespace lumora::platform
