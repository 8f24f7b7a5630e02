// Marks a definition as one of the core library's exports.
#pragma once
#define ORV_CORE_EXPORT extern "C" __attribute__((visibility("default")))
