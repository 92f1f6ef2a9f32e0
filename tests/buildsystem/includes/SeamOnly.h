#pragma once

// Names that merely contain the word are fine: platform/ExtensionContext.h, "hostContext".
#include "platform/ExtensionContext.h"
#include "platform/RemoteViewController.h"
