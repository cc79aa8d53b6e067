// Proves when the toolkit's virtual reader counts as present: the queries to the resource manager, and the log lines.
#include "tests/support/run_tests.h"
#include "tests/unit/smartcard/card_script.h"

#include <gtest/gtest.h>

namespace
{

constexpr char kIsInstalled[] =
    "log: CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed";

winsim::Machine MachineWithCards(const std::string& smartCards)
{
    return MachineOf(R"({"smartCards": {)" + smartCards + "}}");
}

SimulatedRun Ask(const std::string& smartCards, const SimulatedRunOptions& options = {})
{
    return CallFunction(MachineWithCards(smartCards), "IsKlSCardInstalled", {}, options);
}

SimulatedRun AskWith(const Readers& readers, const SimulatedRunOptions& options = {})
{
    return Ask(R"("readers": )" + winsim::Json(readers).dump(), options);
}

// The reader is searched for in a list that is the same for both calls.
Script Search(const Readers& readers, const Script& message)
{
    return {kEstablishContext, AskForLength(readers), ReadList(LengthOf(readers), readers), message, kReleaseContext};
}

TEST(IsKlSCardInstalled, TheOnlyReaderIsFound)
{
    ExpectRun(AskWith({kReader}), "true", Search({kReader}, kIsInstalled));
}

TEST(IsKlSCardInstalled, TheReaderIsFoundInAnyPlace)
{
    const Readers lists[] = {{kReader, "A 0", "B 0"}, {"A 0", kReader, "B 0"}, {"A 0", "B 0", kReader}};
    for (const auto& readers : lists)
        ExpectRun(AskWith(readers), "true", Search(readers, {kIsInstalled}));
}

TEST(IsKlSCardInstalled, AnotherLetterCaseIsTheSameReader)
{
    for (const char* name : {"kelo virtual_card_reader 0", "KELO VIRTUAL_CARD_READER 0", "KeLo Virtual_Card_Reader 0"})
        ExpectRun(AskWith({name}), "true", Search({name}, {kIsInstalled}));
}

TEST(IsKlSCardInstalled, AnyOtherDifferenceMakesAnotherReader)
{
    for (const char* name : {"Kelo VIRTUAL_CARD_READER 1", "Kelo VIRTUAL_CARD_READER 00", "Kelo VIRTUAL_CARD_READER",
                             "Kelo VIRTUAL_CARD_READER 0 ", " Kelo VIRTUAL_CARD_READER 0", "Kelo VIRTUAL CARD READER 0",
                             "KeloVIRTUAL_CARD_READER 0", "Kelo VIRTUAL_CARD_READER O"})
        ExpectRun(AskWith({name}), "false", Search({name}, {}));
}

// The reader is the last in the list.
Readers ALongList()
{
    Readers readers;
    for (int i = 0; i < 2000; ++i)
        readers.push_back("Contoso Smart Card Reader Number " + std::to_string(i));
    readers.emplace_back(kReader);
    return readers;
}

TEST(IsKlSCardInstalled, TheReaderIsFoundAtTheEndOfALongList)
{
    const Readers readers = ALongList();
    ExpectRun(AskWith(readers), "true", Search(readers, {kIsInstalled}));
}

const auto kListings =
    RunTests("IsKlSCardInstalled", &Ask)
        .Run("WithoutAResourceManagerThereIsNoReaderAndNothingToRelease", R"("manager": false)", "false",
             {Failing(kEstablishContext, -2146435043),
              "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 8010001d"})
        .Run("AListThatGrowsBetweenTheCallsCannotBeRead",
             R"("readers": ["A 0"], "readersThen": ["A 0", "Kelo VIRTUAL_CARD_READER 0"])", "false",
             {kEstablishContext, AskForLength({"A 0"}),
              Call("SCardListReadersW", {"cardContext#1", nullptr, 5}, -2146435064, {{"pcchReaders", 32}}),
              "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 80100008", kReleaseContext})
        .Run("ReadersThatAreGoneAtTheSecondCallAreAFailedListing",
             R"("readers": ["Kelo VIRTUAL_CARD_READER 0"], "readersThen": [])", "false",
             {kEstablishContext, AskForLength({kReader}),
              Call("SCardListReadersW", {"cardContext#1", nullptr, 28}, -2146435026),
              "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010002e", kReleaseContext});

TEST(IsKlSCardInstalled, AnyStatusOfTheResourceManagerIsLogged)
{
    ExpectRun(Ask(R"("manager": 2148532225)"), "false",
              {Failing(kEstablishContext, -2146435071),
               "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 80100001"});
    ExpectRun(
        Ask(R"("manager": 5)"), "false",
        {Failing(kEstablishContext, 5), "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 5"});
}

const auto kFailedListings =
    RunTests("IsKlSCardInstalled", &AskWith)
        .Run("ASystemWithoutReadersHasALineOfItsOwn", {}, "false", kNoReaders)
        .Run("AFailedFirstListingIsLoggedAndTheContextReleased", {kReader},
             {.faults = {"SCardListReadersW#1=0x8010001E"}}, "false",
             {kEstablishContext, Call("SCardListReadersW", {"cardContext#1", nullptr, 0}, -2146435042),
              "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010001e", kReleaseContext})
        .Run("AFailedSecondListingIsLoggedAndTheContextReleased", {kReader},
             {.faults = {"SCardListReadersW#2=0x8010001E"}}, "false",
             {kEstablishContext, AskForLength({kReader}),
              Call("SCardListReadersW", {"cardContext#1", nullptr, 28}, -2146435042),
              "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010001e", kReleaseContext})
        .Log("AContextThatCannotBeReleasedChangesNothing", {kReader}, {.faults = {"SCardReleaseContext=0x80100003"}},
             "true", {kIsInstalled});

TEST(IsKlSCardInstalled, AListThatShrinksBetweenTheCallsIsReadAsItIsThen)
{
    ExpectRun(
        Ask(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"],
                                    "readersThen": ["Kelo VIRTUAL_CARD_READER 0"])"),
        "true",
        {kEstablishContext, AskForLength({"A 0", kReader}), ReadList(32, {kReader}), kIsInstalled, kReleaseContext});
    ExpectRun(Ask(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"], "readersThen": ["A 0"])"), "false",
              {kEstablishContext, AskForLength({"A 0", kReader}), ReadList(32, {"A 0"}), kReleaseContext});
}

TEST(IsKlSCardInstalled, AListThatDoesNotEndItselfEndsAtItsLength)
{
    for (const char* zerosMissing : {"1", "2"})
    {
        const std::string missing = std::string(R"(, "zerosMissing": )") + zerosMissing;
        EXPECT_EQ(Ask(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"])" + missing).result, "true") << zerosMissing;
        EXPECT_EQ(Ask(R"("readers": ["A 0", "B 0"])" + missing).result, "false") << zerosMissing;
    }
}

TEST(IsKlSCardInstalled, AListThatMemoryDoesNotSufficeForIsAFailedListing)
{
    const Readers readers = ALongList();
    ExpectRun(CallFunction(winsim::Machine::FromJson(
                               {{"smartCards", {{"readers", readers}}}, {"process", {{"largestBlock", 100000}}}}),
                           "IsKlSCardInstalled"),
              "false",
              {kEstablishContext, AskForLength(readers),
               "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 80100006", kReleaseContext});
}

// Two bytes for each character, for one zero more, and for the zero that ends every string.
TEST(IsKlSCardInstalled, NoMoreMemoryIsTakenThanTheListAndItsEndNeed)
{
    const Readers readers = ALongList();
    ExpectRun(CallFunction(winsim::Machine::FromJson({{"smartCards", {{"readers", readers}}},
                                                      {"process", {{"largestBlock", 2 * (LengthOf(readers) + 2)}}}}),
                           "IsKlSCardInstalled"),
              "true", Search(readers, kIsInstalled));
}

TEST(IsKlSCardInstalled, AnEmptyNameEndsTheListForTheReadersAfterIt)
{
    const Readers hidden[] = {{"", kReader}, {"A 0", "", kReader}, {"", "", kReader}, {""}};
    for (const auto& readers : hidden)
        ExpectRun(AskWith(readers), "false", Search(readers, {}));
    const Readers seen{"A 0", kReader, ""};
    ExpectRun(AskWith(seen), "true", Search(seen, {kIsInstalled}));
}

} // namespace
