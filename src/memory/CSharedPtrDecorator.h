#pragma once

namespace vx_transfers {

// Marks the root of a class tree whose objects are shared through Poco::SharedPtr<T>.
// It holds nothing and adds no virtual operation.
template <typename T>
class CSharedPtrDecorator {};

}  // namespace vx_transfers
