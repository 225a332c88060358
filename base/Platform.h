#pragma once

#include "base/XStr.h"

// What differs from one operating system to the next; one source file per platform implements it.
namespace Platform {

// The full path of the running executable; empty when the system does not tell.
XStr ExecutablePath();

}  // namespace Platform
