/**
 *  @file
 *    The main function of a fuzz target that is built without a fuzzer: each
 *    seed as it is, cut off at every length, and with each byte spoilt in turn.
 */

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *aData, std::size_t aSize);

namespace
{

void Replay(std::vector<std::uint8_t> aSeed)
{
    LLVMFuzzerTestOneInput(aSeed.data(), aSeed.size());

    for (std::size_t lIndex = 0; lIndex < aSeed.size(); ++lIndex)
    {
        const std::uint8_t              lByte = aSeed[lIndex];
        const std::vector<std::uint8_t> lCut(aSeed.begin(), aSeed.begin() + static_cast<std::ptrdiff_t>(lIndex));

        LLVMFuzzerTestOneInput(lCut.data(), lCut.size());
        for (const int lSpoilt :
             { 0, 1, 0x7F, 0xFF, lByte ^ 0x80, lByte + 1, lByte - 1, int{ 'v' }, int{ 's' }, int{ 'a' } })
        {
            aSeed[lIndex] = static_cast<std::uint8_t>(lSpoilt);
            LLVMFuzzerTestOneInput(aSeed.data(), aSeed.size());
        }
        aSeed[lIndex] = lByte;
    }
}

} // namespace

int main(int aCount, char **aWords)
{
    int lSeeds = 0;

    for (int lWord = 1; lWord < aCount; ++lWord)
    {
        for (const auto &lEntry : std::filesystem::directory_iterator(aWords[lWord]))
        {
            std::ifstream lFile(lEntry.path(), std::ios::binary);

            Replay({ std::istreambuf_iterator<char>(lFile), std::istreambuf_iterator<char>() });
            ++lSeeds;
        }
    }

    printf("%d seeds\n", lSeeds);
    return lSeeds > 0 ? 0 : 1;
}
