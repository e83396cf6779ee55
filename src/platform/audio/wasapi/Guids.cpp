// The one translation unit that defines the Core Audio GUIDs and property keys.
#include <initguid.h>
// initguid.h first, so that the headers below define what they declare.
#include "WindowsHeaders.hpp"
