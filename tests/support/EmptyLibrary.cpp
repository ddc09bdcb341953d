// A library that is no logger: it has none of the exports.

extern "C" __declspec(dllexport) int Unrelated() {
    return 0;
}
