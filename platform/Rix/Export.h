#pragma once

/// What a shared library shows to those who link it. Everything else in it is hidden: it may change
/// at any time, and is called without a detour. A class that is marked shows its operations that
/// are not inline, and its identity for dynamic_cast and catch.
#define RIX_EXPORT [[gnu::visibility("default")]]
