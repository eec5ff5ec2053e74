#pragma once

/// All that a host needs.

#include <vantrix/device/comparestring.h>
#include <vantrix/device/device.h>
#include <vantrix/device/dexception.h>
#include <vantrix/effects/catalogue/color.h>
#include <vantrix/effects/catalogue/lut.h>
#include <vantrix/effects/catalogue/platform.h>
#include <vantrix/effects/engine/effect.h>
#include <vantrix/effects/engine/effectattributesparser.h>
#include <vantrix/effects/engine/effectfactory.h>
#include <vantrix/effects/engine/effectshaderbase.h>
#include <vantrix/images/bitmap.h>
#include <vantrix/images/colorspaceconverter.h>
#include <vantrix/images/gifrender.h>
#include <vantrix/platform/d2d1effects.h>
#include <vantrix/platform/engine.h>
#include <vantrix/platform/resources.h>
#include <vantrix/sundrix/faceinfo.h>
#include <vantrix/sundrix/logger.h>
