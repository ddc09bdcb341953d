/// Asked by AddressSanitizer's runtime at start-up, which is a library of its own and must be able to see it; unused
/// in other builds. An allocation too large for the machine shall fail as it does in production, not end the test.
extern "C" [[gnu::visibility("default")]] const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
