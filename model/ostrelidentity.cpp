#include "model/ostrelidentity.h"

OstrelIdentity::OstrelIdentity() = default;
