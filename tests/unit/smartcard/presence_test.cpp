// Proves when the toolkit's virtual reader counts as present: what the resource manager is asked, and what is logged.
#include "tests/support/simulated_run.h"
#include "tests/unit/smartcard/card_scripts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using testing::ElementsAreArray;

constexpr char kInstalled[] =
    "log: CTPMSmartCard::IsKlSCardInstalled - Kelo Smart Card software is currently installed";

winsim::Machine CardMachine(const std::string& smartCards)
{
    return MachineOf(R"({"smartCards": {)" + smartCards + "}}");
}

winsim::Machine Readers(const std::vector<std::string>& readers)
{
    return CardMachine(R"("readers": )" + winsim::Json(readers).dump());
}

void ExpectAnswer(const SimulatedRun& run, const char* answer, const Script& script)
{
    EXPECT_EQ(run.result, answer);
    EXPECT_THAT(run.script, ElementsAreArray(script));
    EXPECT_THAT(run.log, ElementsAreArray(LogOf(script)));
}

// The reader is looked for in a list that both calls see alike.
Script Search(const std::vector<std::string>& readers, const Script& message)
{
    return Joined({EstablishContext(),
                   {AskForLength(readers), ReadList(ListLength(readers), readers)},
                   message,
                   ReleaseContext()});
}

TEST(IsKlSCardInstalled, TheOnlyReaderIsFound)
{
    ExpectAnswer(CallFunction(Readers({kReader}), "IsKlSCardInstalled"), "true", Search({kReader}, {kInstalled}));
}

TEST(IsKlSCardInstalled, TheReaderIsFoundInAnyPlace)
{
    const std::vector<std::string> lists[] = {
        {kReader, "A 0", "B 0"}, {"A 0", kReader, "B 0"}, {"A 0", "B 0", kReader}};
    for (const auto& readers : lists)
        ExpectAnswer(CallFunction(Readers(readers), "IsKlSCardInstalled"), "true", Search(readers, {kInstalled}));
}

TEST(IsKlSCardInstalled, AnotherLetterCaseIsTheSameReader)
{
    for (const char* name : {"kelo virtual_card_reader 0", "KELO VIRTUAL_CARD_READER 0", "KeLo Virtual_Card_Reader 0"})
        ExpectAnswer(CallFunction(Readers({name}), "IsKlSCardInstalled"), "true", Search({name}, {kInstalled}));
}

TEST(IsKlSCardInstalled, AnyOtherDifferenceMakesAnotherReader)
{
    for (const char* name : {"Kelo VIRTUAL_CARD_READER 1", "Kelo VIRTUAL_CARD_READER 00", "Kelo VIRTUAL_CARD_READER",
                             "Kelo VIRTUAL_CARD_READER 0 ", " Kelo VIRTUAL_CARD_READER 0", "Kelo VIRTUAL CARD READER 0",
                             "KeloVIRTUAL_CARD_READER 0", "Kelo VIRTUAL_CARD_READER O"})
        ExpectAnswer(CallFunction(Readers({name}), "IsKlSCardInstalled"), "false", Search({name}, {}));
}

TEST(IsKlSCardInstalled, TheReaderIsFoundAtTheEndOfALongList)
{
    std::vector<std::string> readers;
    for (int i = 0; i < 2000; ++i)
        readers.push_back("Contoso Smart Card Reader Number " + std::to_string(i));
    readers.emplace_back(kReader);
    ExpectAnswer(CallFunction(Readers(readers), "IsKlSCardInstalled"), "true", Search(readers, {kInstalled}));
}

TEST(IsKlSCardInstalled, WithoutAResourceManagerThereIsNoReaderAndNothingToRelease)
{
    ExpectAnswer(CallFunction(CardMachine(R"("manager": false)"), "IsKlSCardInstalled"), "false",
                 {"SCardEstablishContext(0, null, null) = -2146435043",
                  "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 8010001d"});
}

TEST(IsKlSCardInstalled, AnyStatusOfTheResourceManagerIsLogged)
{
    ExpectAnswer(CallFunction(CardMachine(R"("manager": 2148532225)"), "IsKlSCardInstalled"), "false",
                 {"SCardEstablishContext(0, null, null) = -2146435071",
                  "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 80100001"});
    ExpectAnswer(CallFunction(CardMachine(R"("manager": 5)"), "IsKlSCardInstalled"), "false",
                 {"SCardEstablishContext(0, null, null) = 5",
                  "log: CTPMSmartCard::IsKlSCardInstalled - Can't connect to SC Manager 5"});
}

TEST(IsKlSCardInstalled, ASystemWithoutReadersHasALineOfItsOwn)
{
    ExpectAnswer(CallFunction(Readers({}), "IsKlSCardInstalled"), "false", NoReaders());
}

TEST(IsKlSCardInstalled, AFailedFirstListingIsLoggedAndTheContextReleased)
{
    const SimulatedRun run =
        CallFunction(Readers({kReader}), "IsKlSCardInstalled", {}, {.faults = {"SCardListReadersW#1=0x8010001E"}});
    ExpectAnswer(run, "false",
                 Joined({EstablishContext(),
                         {R"(SCardListReadersW("cardContext#1", null, 0) = -2146435042)",
                          "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010001e"},
                         ReleaseContext()}));
}

TEST(IsKlSCardInstalled, AFailedSecondListingIsLoggedAndTheContextReleased)
{
    const SimulatedRun run =
        CallFunction(Readers({kReader}), "IsKlSCardInstalled", {}, {.faults = {"SCardListReadersW#2=0x8010001E"}});
    ExpectAnswer(run, "false",
                 Joined({EstablishContext(),
                         {AskForLength({kReader}), R"(SCardListReadersW("cardContext#1", null, 28) = -2146435042)",
                          "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010001e"},
                         ReleaseContext()}));
}

TEST(IsKlSCardInstalled, AListThatGrowsBetweenTheCallsCannotBeRead)
{
    const SimulatedRun run =
        CallFunction(CardMachine(R"("readers": ["A 0"], "readersThen": ["A 0", "Kelo VIRTUAL_CARD_READER 0"])"),
                     "IsKlSCardInstalled");
    ExpectAnswer(
        run, "false",
        Joined({EstablishContext(),
                {AskForLength({"A 0"}), R"(SCardListReadersW("cardContext#1", null, 5) = -2146435064 pcchReaders:32)",
                 "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 80100008"},
                ReleaseContext()}));
}

TEST(IsKlSCardInstalled, AListThatShrinksBetweenTheCallsIsReadAsItIsThen)
{
    const SimulatedRun found = CallFunction(CardMachine(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"],
                                    "readersThen": ["Kelo VIRTUAL_CARD_READER 0"])"),
                                            "IsKlSCardInstalled");
    ExpectAnswer(found, "true",
                 Joined({EstablishContext(),
                         {AskForLength({"A 0", kReader}), ReadList("32", {kReader}), kInstalled},
                         ReleaseContext()}));
    const SimulatedRun gone =
        CallFunction(CardMachine(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"], "readersThen": ["A 0"])"),
                     "IsKlSCardInstalled");
    ExpectAnswer(
        gone, "false",
        Joined({EstablishContext(), {AskForLength({"A 0", kReader}), ReadList("32", {"A 0"})}, ReleaseContext()}));
}

TEST(IsKlSCardInstalled, ReadersThatAreGoneAtTheSecondCallAreAFailedListing)
{
    const SimulatedRun run = CallFunction(
        CardMachine(R"("readers": ["Kelo VIRTUAL_CARD_READER 0"], "readersThen": [])"), "IsKlSCardInstalled");
    ExpectAnswer(run, "false",
                 Joined({EstablishContext(),
                         {AskForLength({kReader}), R"(SCardListReadersW("cardContext#1", null, 28) = -2146435026)",
                          "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 8010002e"},
                         ReleaseContext()}));
}

TEST(IsKlSCardInstalled, AListThatDoesNotEndItselfEndsAtItsLength)
{
    for (const char* zerosMissing : {"1", "2"})
    {
        const std::string missing = std::string(R"(, "zerosMissing": )") + zerosMissing;
        EXPECT_EQ(CallFunction(CardMachine(R"("readers": ["A 0", "Kelo VIRTUAL_CARD_READER 0"])" + missing),
                               "IsKlSCardInstalled")
                      .result,
                  "true")
            << zerosMissing;
        EXPECT_EQ(CallFunction(CardMachine(R"("readers": ["A 0", "B 0"])" + missing), "IsKlSCardInstalled").result,
                  "false")
            << zerosMissing;
    }
}

TEST(IsKlSCardInstalled, AListThatMemoryDoesNotSufficeForIsAFailedListing)
{
    std::vector<std::string> readers;
    for (int i = 0; i < 2000; ++i)
        readers.push_back("Contoso Smart Card Reader Number " + std::to_string(i));
    readers.emplace_back(kReader);
    winsim::Json machine = Readers(readers).ToJson();
    machine["process"]["largestBlock"] = 100000;
    ExpectAnswer(
        CallFunction(winsim::Machine::FromJson(machine), "IsKlSCardInstalled"), "false",
        Joined({EstablishContext(),
                {AskForLength(readers), "log: CTPMSmartCard::IsKlSCardInstalled - can't list readers 80100006"},
                ReleaseContext()}));
}

TEST(IsKlSCardInstalled, AContextThatCannotBeReleasedChangesNothing)
{
    const SimulatedRun run =
        CallFunction(Readers({kReader}), "IsKlSCardInstalled", {}, {.faults = {"SCardReleaseContext=0x80100003"}});
    EXPECT_EQ(run.result, "true");
    EXPECT_THAT(run.log, ElementsAreArray(LogOf({kInstalled})));
}

TEST(IsKlSCardInstalled, AnEmptyNameEndsTheListForTheReadersBehindIt)
{
    const std::vector<std::string> hidden[] = {{"", kReader}, {"A 0", "", kReader}, {"", "", kReader}, {""}};
    for (const auto& readers : hidden)
        ExpectAnswer(CallFunction(Readers(readers), "IsKlSCardInstalled"), "false", Search(readers, {}));
    const std::vector<std::string> seen{"A 0", kReader, ""};
    ExpectAnswer(CallFunction(Readers(seen), "IsKlSCardInstalled"), "true", Search(seen, {kInstalled}));
}

} // namespace
