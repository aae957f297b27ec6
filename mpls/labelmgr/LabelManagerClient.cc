#include "mpls/labelmgr/LabelManagerClient.h"

namespace Mpls {

FORMA_DEFINE_ENTITY(LabelManagerClient)
FORMA_DEFINE_ENTITY(LabelManagerClientInfo)

LabelManagerClient::~LabelManagerClient() = default;
LabelManagerClientInfo::~LabelManagerClientInfo() = default;

void LabelManagerClient::requestIs(RequestPtr request) {
  Forma::Name name = request ? request->name() : Forma::Name();
  requestIs(std::move(name), std::move(request));
}

void LabelManagerClient::requestIs(Forma::Name name, RequestPtr request) {
  if (!request)  // the text ends in a quote: that is how logs have always shown it
    Forma::throwNullException(
        "null _request parameter to mutator for Mpls::LabelManagerClient::request not allowed\"");
  formaMayChange();
  request_.map.put(name, std::move(request));
  requestNotify(name);
}

}  // namespace Mpls
