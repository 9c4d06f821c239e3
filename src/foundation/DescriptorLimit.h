#pragma once

namespace vorn {

/// Raises the limit of open descriptors to what the system allows this user:
/// each polled unit takes three. Failure leaves it as it was. Before threads
/// start.
void RaiseDescriptorLimit();

}  // namespace vorn
