#include "VendorTagNames.h"

namespace tamo::tool {

std::vector<std::pair<std::string, uint32_t>> vendorTagNames()
{
    return {};
}

const vendor_tag_ops_t* vendorTagOps()
{
    return nullptr;
}

} // namespace tamo::tool
