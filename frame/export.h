// Marks a definition as one of the kernel library's exports. The name also stands in exports/.
#pragma once
#define ORV_EXPORT extern "C" __attribute__((visibility("default")))
