/**
 *  @file
 *    zq-fuzz-seeds CORPUS DIRECTORY: writes each text of the corpus, the
 *    arguments of a message in GVariant's notation, as that message's bytes, and
 *    besides bytes that describe messages of each form: always the same, and
 *    chosen by lot.
 */

#include <gio/gio.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
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

bool WriteDescriptions(const std::filesystem::path &aDirectory)
{
    constexpr int kForms = 7, kSeeds = 8, kSize = 64;

    std::mt19937 lLot;
    bool         lIsWritten = true;

    for (int lSeed = 0; lSeed < kForms * kSeeds; ++lSeed)
    {
        std::string lBytes(1, static_cast<char>(lSeed % kForms + lSeed / kForms % 2 * 0x80));

        while (lBytes.size() < kSize)
            lBytes += static_cast<char>(lLot() >> 24);

        std::ofstream lOutput(aDirectory / ("described-" + std::to_string(lSeed)), std::ios::binary);

        lOutput << lBytes;
        lIsWritten = lOutput.good() && lIsWritten;
    }
    return lIsWritten;
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

    std::filesystem::create_directories(lDirectory);

    bool lIsWritten = WriteDescriptions(lDirectory);

    for (const auto &lEntry : std::filesystem::directory_iterator(aWords[1]))
        lIsWritten = WriteSeed(lEntry.path(), lDirectory / lEntry.path().stem()) && lIsWritten;
    return lIsWritten ? 0 : 1;
}
