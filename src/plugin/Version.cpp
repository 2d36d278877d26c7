// Tells which version a file is: `strings PictureZVK.so | grep '^PictureZVK version'`.
namespace {
[[gnu::used]] constexpr char kVersion[] = "\0PictureZVK version " ZVK_VERSION;
}
