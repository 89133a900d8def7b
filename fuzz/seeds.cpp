/**
 *  @file
 *    zq-fuzz-seeds CORPUS DIRECTORY: writes each text of the corpus, the
 *    arguments of a message in GVariant's notation, as that message's bytes.
 */

#include <gio/gio.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace
{

bool WriteSeed(const std::filesystem::path &aText, const std::filesystem::path &aSeed)
{
    std::ifstream     lInput(aText);
    const std::string lText((std::istreambuf_iterator<char>(lInput)), std::istreambuf_iterator<char>());
    GError           *lError = nullptr;
    GVariant         *lBody  = g_variant_parse(nullptr, lText.c_str(), nullptr, nullptr, &lError);

    if (lBody == nullptr)
    {
        fprintf(stderr, "%s: %s\n", aText.c_str(), lError->message);
        g_error_free(lError);
        return false;
    }

    const std::unique_ptr<GDBusMessage, decltype(&g_object_unref)> lMessage(
        g_dbus_message_new_signal("/", "net.connman.Manager", "ServicesChanged"), g_object_unref);
    gsize lSize = 0;

    g_dbus_message_set_body(lMessage.get(), lBody);
    g_dbus_message_set_serial(lMessage.get(), 1);

    const std::unique_ptr<guchar, decltype(&g_free)> lBlob(
        g_dbus_message_to_blob(lMessage.get(), &lSize, G_DBUS_CAPABILITY_FLAGS_NONE, nullptr), g_free);
    std::ofstream lOutput(aSeed, std::ios::binary);

    lOutput.write(reinterpret_cast<const char *>(lBlob.get()), static_cast<std::streamsize>(lSize));
    return lOutput.good();
}

} // namespace

int main(int aCount, char **aWords)
{
    if (aCount != 3)
    {
        fputs("usage: zq-fuzz-seeds CORPUS DIRECTORY\n", stderr);
        return 2;
    }

    const std::filesystem::path lDirectory = aWords[2];
    bool                        lIsWritten = true;

    std::filesystem::create_directories(lDirectory);
    for (const auto &lEntry : std::filesystem::directory_iterator(aWords[1]))
        lIsWritten = WriteSeed(lEntry.path(), lDirectory / lEntry.path().stem()) && lIsWritten;
    return lIsWritten ? 0 : 1;
}
