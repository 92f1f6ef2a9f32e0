#pragma once

// Names that merely contain the word are fine: platform/extensions/ExtensionContext.h, "hostContext".
#include "platform/extensions/ExtensionContext.h"
#include "platform/extensions/RemoteViewController.h"
