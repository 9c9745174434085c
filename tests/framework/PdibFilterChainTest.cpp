#include "kestrel/framework/PdibFilterChain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "kestrel/diagnostics/LogSink.h"
#include "kestrel/server/PdibFilterCreator.h"
#include "tests/support/Line.h"
#include "tests/support/Probe.h"

namespace kestrel {
namespace {
using test::Picture;
using test::Probe;
using test::Sink;
using test::Source;

/// A creator that makes a probe for every name that begins with "P"; it may make one of another name than asked.
class ProbeCreator final : public IPdibFilterCreator {
public:
    HRESULT QueryInterface(const GUID&, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 1; }
    std::uint32_t Release() override { return 1; }
    HRESULT CreateFilter(const char* progId, const GUID& iid, void** object) override {
        *object = nullptr;
        if (*progId != 'P') return E_FAIL;
        ++made;
        const Ref<Probe> probe(new Probe(renamed.empty() ? progId : renamed));
        probe->hasText = hasText;
        if (throws) throw std::runtime_error("no filter");
        return probe->QueryInterface(iid, object);
    }
    HRESULT CreateFilterDialog(const char*, void*, const GUID&, void**) override { return E_FAIL; }
    HRESULT GetFilterCount(int*) override { return E_FAIL; }
    HRESULT CreateFilterByIndex(int, const GUID&, void**) override { return E_FAIL; }
    HRESULT CreateChain(const GUID&, void**) override { return E_FAIL; }
    HRESULT GetFilterByIndex(int, char*, int, int*) override { return E_FAIL; }

    std::string renamed;
    bool hasText = true;
    bool throws = false;
    int made = 0;
};

std::string TextOf(IFilterObject* filter) {
    char buffer[8192] = "";
    if (const auto text = Ref<IFilterParameters>::Query(filter)) text->GetParameterTextForSave(buffer, sizeof buffer);
    return buffer;
}

std::string NameOf(IFilterObject* filter) {
    char buffer[8192] = "";
    filter->GetProgID(buffer, sizeof buffer);
    return buffer;
}

/// A chain between a source and a sink, and every way to look at its line.
class ChainTest : public testing::Test {
protected:
    void TearDown() override {
        chain = nullptr;
        held.clear();
        source->ConnectDownstream(nullptr);
        sink->ConnectUpstream(nullptr);
        EXPECT_EQ(Module::Count(), objectsBefore);
    }

    void Connect() {
        chain->SetSource(source.get());
        chain->SetSink(sink.get());
    }
    /// Adds by cost and keeps the object known, not alive.
    IFilterObject* Add(const std::string& name, int cost = 5000, const std::string& text = "") {
        const Ref<Probe> probe(new Probe(name, cost));
        probe->pending = text;
        EXPECT_EQ(chain->AddFilter(static_cast<IFilterObject*>(probe.get())), S_OK);
        return static_cast<IFilterObject*>(probe.get());
    }
    HRESULT Set(const char* text) { return chain->SetChainText(text, "\t", "\n", &creator); }

    /// The filters by index.
    std::vector<IFilterObject*> Filters() {
        int count = -1;
        chain->GetFilterCount(&count);
        std::vector<IFilterObject*> filters;
        for (int i = 0; i < count; ++i) {
            Ref<IFilterObject> filter;
            EXPECT_EQ(chain->GetFilter(i, IFilterObject::kIid, filter.Out()), S_OK);
            filters.push_back(filter.get());
        }
        return filters;
    }
    /// Names with their texts, as the links tell them from the source on; checks that the way back is the same line.
    std::string Walk() {
        std::vector<std::string> there, back;
        Ref<IFilterObject> filter = Ref<IFilterObject>::Query(source->Downstream());
        while (filter) {
            there.push_back(NameOf(filter.get()) + ":" + TextOf(filter.get()));
            Ref<IFilterObject> next;
            if (filter->QueryDownstream(IFilterObject::kIid, next.Out()) != S_OK) next = nullptr;
            filter = next;
        }
        filter = Ref<IFilterObject>::Query(sink->Upstream());
        while (filter) {
            back.push_back(NameOf(filter.get()) + ":" + TextOf(filter.get()));
            Ref<IFilterObject> previous;
            if (filter->QueryUpstream(IFilterObject::kIid, previous.Out()) != S_OK) previous = nullptr;
            filter = previous;
        }
        std::reverse(back.begin(), back.end());
        EXPECT_EQ(there, back);
        if (there.empty()) {
            EXPECT_EQ(source->Downstream(), static_cast<IFilterGeometry*>(sink.get()));
            EXPECT_EQ(sink->Upstream(), static_cast<IFilterPixels*>(source.get()));
        }
        std::string line;
        for (const auto& piece : there) line += (line.empty() ? "" : " ") + piece;
        return line;
    }
    std::string ChainText(bool active = false, int size = 1 << 20) {
        std::string buffer(static_cast<std::size_t>(size), '#');
        return chain->GetChainText(buffer.data(), size, "\t", "\n", active) == S_OK ? buffer.c_str() : "failed";
    }

    const long objectsBefore = Module::Count();
    ProbeCreator creator;
    const Ref<Source> source{new Source(Picture(2, 2))};
    const Ref<Sink> sink{new Sink};
    Ref<CPdibFilterChain> chain{new CPdibFilterChain};
    std::vector<Ref<IFilterObject>> held;
};

// Ends

TEST_F(ChainTest, LinksSourceAndSinkDirectlyWhileItIsEmpty) {
    Connect();
    EXPECT_EQ(Walk(), "");
    Add("A");
    EXPECT_EQ(Walk(), "A:");
    chain->RemoveAllFilters();
    EXPECT_EQ(Walk(), "");
}

TEST_F(ChainTest, EndsMayComeAfterTheFilters) {
    Add("A");
    Add("B");
    chain->SetSink(sink.get());
    chain->SetSource(source.get());
    EXPECT_EQ(Walk(), "A: B:");
}

TEST_F(ChainTest, ChangesOfEndsLetTheOldOnesGo) {
    Connect();
    Add("A");
    const Ref<Source> otherSource(new Source(Picture(1, 1)));
    const Ref<Sink> otherSink(new Sink);
    chain->SetSource(otherSource.get());
    chain->SetSink(otherSink.get());
    EXPECT_TRUE(otherSource->Downstream() && otherSink->Upstream());
    Ref<IFilterPixels> end;
    Filters()[0]->QueryUpstream(IFilterPixels::kIid, end.Out());
    EXPECT_EQ(end.get(), static_cast<IFilterPixels*>(otherSource.get()));
    chain->SetSource(nullptr);
    chain->SetSink(nullptr);
    EXPECT_EQ(Filters()[0]->QueryUpstream(IFilterPixels::kIid, end.Out()), E_NOINTERFACE);
    EXPECT_EQ(Filters()[0]->QueryDownstream(IFilterGeometry::kIid, end.Out()), E_NOINTERFACE);
    otherSource->ConnectDownstream(nullptr);
    otherSink->ConnectUpstream(nullptr);
}

TEST_F(ChainTest, RemovalWithoutEndsLeavesNoLinkToTheRemovedFilter) {
    Add("A");
    Add("B");
    Add("C");
    chain->RemoveFilter(2);
    chain->RemoveFilter(0);
    ASSERT_EQ(Filters().size(), 1u);
    void* neighbour = nullptr;
    EXPECT_EQ(Filters()[0]->QueryUpstream(IFilterObject::kIid, &neighbour), E_NOINTERFACE);
    EXPECT_EQ(Filters()[0]->QueryDownstream(IFilterObject::kIid, &neighbour), E_NOINTERFACE);
}

TEST_F(ChainTest, TheLastReleaseCutsWhatThisChainLinkedLast) {
    for (const int filters : {0, 2}) {
        for (const bool replaced : {false, true}) {
            SCOPED_TRACE(testing::Message() << filters << " filters, replaced " << replaced);
            Connect();
            for (int i = 0; i < filters; ++i) held.emplace_back(Add("Old"));
            Ref<CPdibFilterChain> next;
            if (replaced) {
                next = Ref(new CPdibFilterChain);
                std::swap(chain, next);
                Add("New");
                Connect();
                std::swap(chain, next);
            }
            chain = nullptr;
            if (replaced) {
                EXPECT_EQ(Walk(), "New:");
            } else {
                EXPECT_EQ(source->Downstream(), nullptr);
                EXPECT_FALSE(sink->Upstream());
            }
            for (const auto& filter : held) {
                void* neighbour = nullptr;
                EXPECT_EQ(filter->QueryDownstream(IUnknown::kIid, &neighbour), E_NOINTERFACE);
                EXPECT_EQ(filter->QueryUpstream(IUnknown::kIid, &neighbour), E_NOINTERFACE);
            }
            next = nullptr;
            EXPECT_EQ(source->Downstream(), nullptr);
            EXPECT_FALSE(sink->Upstream());
            held.clear();
            chain = Ref(new CPdibFilterChain);
        }
    }
}

TEST_F(ChainTest, TheChainThatLinkedAnEndLastOwnsIt) {
    Connect();
    const Ref<CPdibFilterChain> other(new CPdibFilterChain);
    other->SetSource(source.get());
    other->SetSink(sink.get());
    Add("A");  // takes the ends back
    other->SetSource(nullptr);
    other->SetSink(nullptr);
    EXPECT_EQ(Walk(), "A:");
    chain = nullptr;
    EXPECT_EQ(source->Downstream(), nullptr);
    EXPECT_FALSE(sink->Upstream());
}

// Adding and removing

TEST_F(ChainTest, AddsBehindEqualCostsAndBeforeHigherOnes) {
    Connect();
    Add("C200", 200);
    Add("C500", 500);
    Add("C5000", 5000);
    Add("New", 500);
    EXPECT_EQ(Walk(), "C200: C500: New: C5000:");
    Add("First", 100);
    Add("Last", 5000);
    EXPECT_EQ(Walk(), "First: C200: C500: New: C5000: Last:");
}

TEST_F(ChainTest, InsertsAtAPositionWhateverTheCost) {
    Connect();
    const auto insert = [&](int index, const char* name) {
        const Ref<Probe> probe(new Probe(name, 1));
        EXPECT_EQ(chain->InsertFilter(index, static_cast<IFilterObject*>(probe.get())), S_OK);
    };
    insert(7, "A");
    insert(0, "B");
    insert(1, "C");
    insert(99, "D");
    insert(3, "E");
    insert(-1, "F");
    EXPECT_EQ(Walk(), "B: F: C: A: E: D:");
}

TEST_F(ChainTest, RefusesWhatIsNoFilterOrIsInTheLine) {
    Connect();
    IFilterObject* const filter = Add("A");
    Add("B");
    EXPECT_EQ(chain->AddFilter(nullptr), E_FAIL);
    EXPECT_EQ(chain->InsertFilter(0, nullptr), E_FAIL);
    EXPECT_EQ(chain->AddFilter(sink.get()), E_NOINTERFACE);
    EXPECT_EQ(chain->InsertFilter(0, sink.get()), E_NOINTERFACE);
    EXPECT_EQ(chain->AddFilter(filter), E_FAIL);
    EXPECT_EQ(chain->InsertFilter(1, filter), E_FAIL);
    const Ref<CPdibFilterChain> other(new CPdibFilterChain);
    EXPECT_EQ(other->AddFilter(filter), E_FAIL);
    EXPECT_EQ(other->InsertFilter(0, Filters()[1]), E_FAIL);
    const Ref<Probe> alone(new Probe("alone"));  // in a chain without neighbours, and free again
    EXPECT_EQ(other->AddFilter(static_cast<IFilterObject*>(alone.get())), S_OK);
    EXPECT_EQ(chain->AddFilter(static_cast<IFilterObject*>(alone.get())), E_FAIL);
    EXPECT_EQ(Walk(), "A: B:");
    other->RemoveFilter(0);
    EXPECT_EQ(chain->AddFilter(static_cast<IFilterObject*>(alone.get())), S_OK);
    EXPECT_EQ(Walk(), "A: B: alone:");
    EXPECT_EQ(sink->begins, sink->ends);
}

TEST_F(ChainTest, FindsByIndexAndByName) {
    Connect();
    IFilterObject* const first = Add("A");
    IFilterObject* const second = Add("B");
    Add("A");
    Ref<IFilterObject> found;
    EXPECT_EQ(chain->GetFilter(1, IFilterObject::kIid, found.Out()), S_OK);
    EXPECT_EQ(found.get(), second);
    EXPECT_EQ(chain->GetFilter(-1, IFilterObject::kIid, found.Out()), S_OK);
    EXPECT_EQ(found.get(), Filters()[2]);
    void* none = this;
    EXPECT_EQ(chain->GetFilter(3, IFilterObject::kIid, &none), E_FAIL);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(chain->FindFilter("A", IFilterObject::kIid, found.Out()), S_OK);
    EXPECT_EQ(found.get(), first);
    none = this;
    EXPECT_EQ(chain->FindFilter("a", IFilterObject::kIid, &none), S_FALSE);
    EXPECT_EQ(chain->FindFilter(nullptr, IFilterObject::kIid, &none), S_FALSE);
    EXPECT_EQ(none, this);
}

TEST_F(ChainTest, NamesOfTwoHundredBytesCountAsEmpty) {
    Connect();
    const std::string fits(199, 'N'), tooLong(200, 'N');
    Add(fits);
    Add(tooLong);
    Ref<IFilterObject> found;
    EXPECT_EQ(chain->FindFilter(fits.c_str(), IFilterObject::kIid, found.Out()), S_OK);
    EXPECT_EQ(chain->FindFilter(tooLong.c_str(), IFilterObject::kIid, found.Out()), S_FALSE);
    EXPECT_EQ(chain->FindFilter("", IFilterObject::kIid, found.Out()), S_OK);
    EXPECT_EQ(found.get(), Filters()[1]);
    found = nullptr;
    chain->RemoveFiltersByProgID(tooLong.c_str());
    EXPECT_EQ(Filters().size(), 2u);
    chain->RemoveFiltersByProgID("");
    EXPECT_EQ(Walk(), fits + ":");
}

TEST_F(ChainTest, RemovesByIndexAndByName) {
    Connect();
    for (const char* name : {"A", "B", "A", "C", "A"}) Add(name);
    chain->RemoveFilter(3);
    EXPECT_EQ(Walk(), "A: B: A: A:");
    chain->RemoveFilter(4);
    EXPECT_EQ(Walk(), "A: B: A: A:");
    chain->RemoveFiltersByProgID("A");
    EXPECT_EQ(Walk(), "B:");
    chain->RemoveFilter(-1);
    EXPECT_EQ(Walk(), "");
}

TEST_F(ChainTest, BracketsChangesForTheSink) {
    Connect();
    const Ref<Probe> probe(new Probe("P"));
    const struct {
        const char* name;
        std::function<void()> run;
        int brackets;
    } operations[] = {
        {"SetSource", [&] { chain->SetSource(source.get()); }, 1},
        {"SetSink", [&] { chain->SetSink(sink.get()); }, 0},
        {"AddFilter", [&] { chain->AddFilter(static_cast<IFilterObject*>(probe.get())); }, 1},
        {"RemoveFilter", [&] { chain->RemoveFilter(0); }, 1},
        {"InsertFilter", [&] { chain->InsertFilter(0, static_cast<IFilterObject*>(probe.get())); }, 1},
        {"RemoveFiltersByProgIDQuiet", [&] { chain->RemoveFiltersByProgIDQuiet("P"); }, 0},
        {"RemoveFiltersByProgID", [&] { chain->RemoveFiltersByProgID("P"); }, 1},
        {"RemoveAllFilters", [&] { chain->RemoveAllFilters(); }, 1},
        {"Refresh", [&] { chain->Refresh(1, 2); }, 1},
        {"SetChainTextQuiet", [&] { chain->SetChainTextQuiet("P\tx\n", "\t", "\n", &creator); }, 0},
        {"SetChainText", [&] { Set("P\ty\n"); }, 1},
        {"Reserved", [&] { chain->Reserved(nullptr); }, 0},
        {"GetChainText", [&] { ChainText(); }, 0},
    };
    for (const auto& operation : operations) {
        sink->begins = sink->ends = 0;
        operation.run();
        EXPECT_EQ(sink->begins, operation.brackets) << operation.name;
        EXPECT_EQ(sink->ends, operation.brackets) << operation.name;
    }
}

// Text

TEST_F(ChainTest, WritesOneRecordAFilter) {
    Connect();
    Add("A", 1, "a=1");
    Add("B", 2, "");
    static_cast<Probe*>(Filters()[1])->hasText = false;
    Add("C", 3, "c=3");
    static_cast<Probe*>(Filters()[2])->active = "c=2";
    EXPECT_EQ(ChainText(false), "A\ta=1\nC\tc=3\n");
    EXPECT_EQ(ChainText(true), "A\t\nC\tc=2\n");
    char buffer[64];
    EXPECT_EQ(chain->GetChainText(buffer, sizeof buffer, "==", "\r\n;", false), S_OK);
    EXPECT_STREQ(buffer, "A==a=1\r\n;C==c=3\r\n;");
}

TEST_F(ChainTest, TextMustBeShorterThanTheBuffer) {
    Connect();
    Add("A", 1, "12345");
    const int length = static_cast<int>(std::string("A\t12345\n").size());
    EXPECT_EQ(ChainText(false, length), "failed");
    EXPECT_EQ(ChainText(false, length + 1), "A\t12345\n");
    char byte = '#';
    EXPECT_EQ(chain->GetChainText(&byte, 0, "\t", "\n", false), E_FAIL);
    EXPECT_EQ(chain->GetChainText(&byte, -1, "\t", "\n", false), E_FAIL);
    EXPECT_EQ(byte, '#');
}

TEST_F(ChainTest, TextsOfAnyLengthAreKept) {
    Connect();
    for (const std::size_t length : {1023u, 1024u, 4095u, 4096u, 100000u}) {
        const std::string text(length, 'x');
        Set(("P\t" + text + "\n").c_str());
        EXPECT_EQ(ChainText(), "P\t" + text + "\n");
        const int made = creator.made;
        const int set = static_cast<Probe*>(Filters()[0])->textsSet;
        Set(("P\t" + text + "\n").c_str());
        EXPECT_EQ(creator.made, made);
        EXPECT_EQ(static_cast<Probe*>(Filters()[0])->textsSet, set) << length;
    }
}

TEST_F(ChainTest, OwnTextChangesNothing) {
    Connect();
    Set("P1\ta\nP2\tb\nP3\tc\n");
    const auto before = Filters();
    const int made = creator.made;
    EXPECT_EQ(Set(ChainText().c_str()), S_OK);
    EXPECT_EQ(Filters(), before);
    EXPECT_EQ(creator.made, made);
    for (auto* filter : Filters()) EXPECT_EQ(static_cast<Probe*>(filter)->textsSet, 1);
}

TEST_F(ChainTest, MatchesATextFilterByFilter) {
    // What stands in the chain, the text, what stands there after, and how many filters were made for it.
    const struct {
        const char* before;
        const char* text;
        const char* after;
        int made;
    } cases[] = {
        {"", "", "", 0},
        {"", "P1\ta\nP2\tb\n", "P1:a P2:b", 2},
        {"P1\ta\nP2\tb\n", "", "", 0},
        {"P1\ta\nP2\tb\n", "P1\tz\nP2\tb\n", "P1:z P2:b", 0},              // changed
        {"P1\ta\nP2\tb\nP3\tc\n", "P1\ta\nP3\tc\n", "P1:a P3:c", 0},       // taken out of the middle
        {"P1\ta\nP2\tb\nP3\tc\n", "P2\tb\nP3\tc\n", "P2:b P3:c", 0},       // taken off the head
        {"P1\ta\nP2\tb\nP3\tc\n", "P1\ta\nP2\tb\n", "P1:a P2:b", 0},       // taken off the end
        {"P1\ta\nP2\tb\n", "P1\ta\nP3\tc\nP2\tb\n", "P1:a P3:c P2:b", 1},  // put into the middle
        {"P1\ta\nP2\tb\n", "P3\tc\nP1\ta\nP2\tb\n", "P3:c P1:a P2:b", 1},  // put before the head
        {"P1\ta\n", "P3\tc\nP1\ta\n", "P3:c P1:a", 1},                     // before the only one
        {"P1\ta\nP2\tb\n", "P2\tz\n", "P2:z", 1},                          // the next one has another text: inserted
        {"P1\ta\nP2\tb\nP3\tc\n", "P3\tc\n", "P3:c", 1},                   // two taken out: made again
        {"", "P1\ta\nP1\tb\n", "P1:b", 1},                                 // behind the end a name sets its filter
        {"P1\ta\n", "P1\ta\nX\tx\nP2\tb\n", "P1:a P2:b", 1},               // nobody can make X
        {"P1\ta\nP2\tb\n", "X\tx\nP2\tb\n", "P1:a P2:b", 0},               // X holds the place of P1
        {"P1\ta\n", "P1\ta\nP2\tb", "P1:a", 0},                            // half a record
        {"P1\ta\n", "P1\ta\nP2\n", "P1:a", 0},                             // a record without a field separator
        {"P1\ta\n", "\n", "", 0},
        {"", "P1\t\n", "P1:", 1},
        {"", "lead\tP1\ta\nlead\tP2\tb\n", "P1:a P2:b", 2},  // a leading field
        {"", "lead\tP1\ta\tb\nmore\tP2\tc\n", "P1:a\tb P2:c", 2},
        {"", "lead\tP1\ta\nP2\tb\n", "P1:a", 1},  // a record without the leading field ends it
        {"", "P1\ta\nP2\tb\tc\n", "P1:a P2:b\tc", 2},
    };
    Connect();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        Set("");
        Set(row.before);
        creator.made = 0;
        EXPECT_EQ(Set(row.text), S_OK);
        EXPECT_EQ(Walk(), row.after);
        EXPECT_EQ(creator.made, row.made);
    }
}

TEST_F(ChainTest, KeepsTheObjectsAroundARemovedOne) {
    Connect();
    Set("P1\ta\nP2\tb\nP3\tc\n");
    const auto before = Filters();
    Set("P1\ta\nP3\tc\n");
    EXPECT_EQ(Filters(), (std::vector{before[0], before[2]}));
}

TEST_F(ChainTest, NullAndEmptyArgumentsOfATextMeanNoRecords) {
    Connect();
    for (const auto& [text, field, record] : {std::tuple{"P\ta\n", "", "\n"},
                                              {"P\ta\n", "\t", ""},
                                              {"P\ta\n", static_cast<const char*>(nullptr), "\n"},
                                              {"P\ta\n", "\t", static_cast<const char*>(nullptr)},
                                              {static_cast<const char*>(nullptr), "\t", "\n"}}) {
        Set("P\ta\n");
        EXPECT_EQ(chain->SetChainText(text, field, record, &creator), S_OK);
        EXPECT_EQ(Walk(), "");
    }
    EXPECT_EQ(chain->SetChainText("P\ta\n", "\t", "\n", nullptr), S_OK);
    EXPECT_EQ(Walk(), "");
}

TEST_F(ChainTest, LongSeparatorsAreSkippedWhole) {
    Connect();
    chain->SetChainText("P1<=>a=>b<|>P2<=><|>", "<=>", "<|>", &creator);
    EXPECT_EQ(Walk(), "P1:a=>b P2:");
}

TEST_F(ChainTest, FiltersWithoutTextsAreLeftAsTheyAre) {
    Connect();
    creator.hasText = false;
    Set("P1\ta\n");
    const auto before = Filters();
    Set("P1\tb\n");
    EXPECT_EQ(Filters(), before);
    EXPECT_EQ(ChainText(), "");
}

TEST_F(ChainTest, ASourceAloneIsTakenForTheSink) {
    chain->SetSource(source.get());
    Set("P1\ta\n");  // this source is no IFilterGeometry: there is still no sink
    EXPECT_EQ(Filters().size(), 1u);
    const Ref<Probe> both(new Probe("both ends"));
    both->isFilter = false;
    chain->SetSource(static_cast<IFilterPixels*>(both.get()));
    Set("P1\ta\n");
    Ref<IFilterGeometry> end;
    EXPECT_EQ(Filters()[0]->QueryDownstream(IFilterGeometry::kIid, end.Out()), S_OK);
    EXPECT_EQ(end.get(), static_cast<IFilterGeometry*>(both.get()));
}

TEST_F(ChainTest, HoldsAThousandFiltersAndReadsAnyNumberOfRecords) {
    Connect();
    std::string many, distinct;
    for (int i = 0; i < 100000; ++i) many += "P\tn=" + std::to_string(i) + "\n";
    for (int i = 0; i < CPdibFilterChain::kMaximumFilters; ++i) distinct += "P" + std::to_string(i) + "\t\n";
    EXPECT_EQ(Set(many.c_str()), S_OK);
    EXPECT_EQ(Walk(), "P:n=99999");
    Set("");
    EXPECT_EQ(Set(distinct.c_str()), S_OK);
    EXPECT_EQ(ChainText(), distinct);
    const Ref<Probe> more(new Probe("more"));
    EXPECT_EQ(chain->AddFilter(static_cast<IFilterObject*>(more.get())), E_BOUNDS);
    EXPECT_EQ(chain->InsertFilter(0, static_cast<IFilterObject*>(more.get())), E_BOUNDS);
    EXPECT_EQ(Set((distinct + "P\t\n").c_str()), E_BOUNDS);
    EXPECT_EQ(ChainText(), distinct);
    EXPECT_EQ(Set(("P\t\n" + distinct).c_str()), E_BOUNDS);  // inserted before the others, one by one
    EXPECT_EQ(ChainText(), "P\t\n" + distinct.substr(0, distinct.rfind('P')));
    EXPECT_EQ(Set(many.c_str()), E_BOUNDS);
    EXPECT_EQ(Filters().size(), std::size_t{CPdibFilterChain::kMaximumFilters});
    Set("");
    EXPECT_EQ(Walk(), "");
}

/// The rule for chain texts, written for a plain list of names and texts, one full search a record.
using Records = std::vector<std::pair<std::string, std::string>>;
void SetRecords(Records& line, const Records& text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto& record = text[i];
        const bool makeable = record.first[0] == 'P';
        if (i >= line.size()) {
            const auto same = std::find_if(line.begin(), line.end(), [&](auto& f) { return f.first == record.first; });
            if (same != line.end())
                same->second = record.second;
            else if (makeable)
                line.push_back(record);
        } else if (line[i].first == record.first) {
            line[i].second = record.second;
        } else if (i + 1 < line.size() && line[i + 1] == record) {
            line.erase(line.begin() + static_cast<std::ptrdiff_t>(i));
        } else if (makeable) {
            line.insert(line.begin() + static_cast<std::ptrdiff_t>(i), record);
        }
    }
    if (line.size() > text.size()) line.resize(text.size());
}

TEST_F(ChainTest, BehavesAsAPlainListUnderRandomOperations) {
    Connect();
    std::mt19937 random(11);
    const auto name = [&] { return std::string(random() % 8 ? "P" : "X") + std::to_string(random() % 4); };
    const auto text = [&] { return std::to_string(random() % 3); };
    Records line;
    std::vector<int> costs;  // of the filters in the line, by name: only those that were added have one
    for (int step = 0; step < 3000; ++step) {
        const auto index = static_cast<int>(random() % (line.size() + 2));
        switch (random() % 6) {
            case 0: {
                const Ref<Probe> probe(new Probe(name()));
                probe->pending = text();
                chain->InsertFilter(index, static_cast<IFilterObject*>(probe.get()));
                const auto at = std::min(static_cast<std::size_t>(index), line.size());
                line.insert(line.begin() + static_cast<std::ptrdiff_t>(at), {NameOf(probe.get()), probe->pending});
                break;
            }
            case 1:
                chain->RemoveFilter(index);
                if (static_cast<std::size_t>(index) < line.size()) line.erase(line.begin() + index);
                break;
            case 2: {
                const std::string removed = name();
                chain->RemoveFiltersByProgID(removed.c_str());
                std::erase_if(line, [&](auto& filter) { return filter.first == removed; });
                break;
            }
            case 3:
                if (random() % 20 == 0) {
                    chain->RemoveAllFilters();
                    line.clear();
                }
                break;
            default: {
                Records records = line;  // near the line as it is, so that all actions are met
                for (int edits = static_cast<int>(random() % 4); edits > 0; --edits) {
                    const auto at = static_cast<std::ptrdiff_t>(random() % (records.size() + 1));
                    if (random() % 2 || records.empty())
                        records.insert(records.begin() + at, {name(), text()});
                    else if (at < static_cast<std::ptrdiff_t>(records.size()))
                        records.erase(records.begin() + at);
                }
                std::string whole;
                for (const auto& [n, t] : records) whole += n + "\t" + t + "\n";
                Set(whole.c_str());
                SetRecords(line, records);
            }
        }
        std::string expected;
        for (const auto& [n, t] : line) expected += (expected.empty() ? "" : " ") + n + ":" + t;
        ASSERT_EQ(Walk(), expected) << "step " << step;
    }
}

// Failures

struct Line {
    int level;
    std::string source;
    int line;
    std::string text;
};
std::vector<Line> logged;

TEST_F(ChainTest, LogsAnExceptionResumesTheSinkAndRaisesItAgain) {
    const std::string unhandled = "FilterChain: Unhandled exception in PdibFilterChain(";
    const std::string occurred = "Exception occoured in PdibFilterChain (";
    SetLogSink([](int level, const char* name, int line, const std::string& text) {
        logged.push_back({level, name, line, text});
    });
    Connect();
    Add("B");
    Add("C");
    const auto throwing = [&] {
        const Ref<Probe> probe(new Probe("A", 1));
        probe->throwsOnLink = true;
        return probe;
    };
    const Ref<Probe> probe = throwing();
    creator.throws = true;
    static_cast<Probe*>(Filters()[0])->throwsOnLink = true;
    const struct {
        const char* name;
        std::function<void()> run;
        std::vector<std::string> texts;  ///< each with the line and a bracket behind it
    } operations[] = {
        {"AddFilter", [&] { chain->AddFilter(static_cast<IFilterObject*>(probe.get())); }, {unhandled}},
        {"SetSource", [&] { chain->SetSource(source.get()); }, {unhandled}},
        {"InsertFilter", [&] { chain->InsertFilter(0, static_cast<IFilterObject*>(throwing().get())); }, {unhandled}},
        {"SetChainTextQuiet", [&] { chain->SetChainTextQuiet("P\t\n", "\t", "\n", &creator); }, {unhandled}},
        {"SetChainText", [&] { Set("P\t\n"); }, {unhandled, occurred}},
        {"RemoveFilter", [&] { chain->RemoveFilter(0); }, {unhandled}},
    };
    for (const auto& operation : operations) {
        SCOPED_TRACE(operation.name);
        logged.clear();
        sink->begins = sink->ends = 0;
        EXPECT_THROW(operation.run(), std::runtime_error);
        EXPECT_EQ(sink->begins, sink->ends);
        ASSERT_EQ(logged.size(), operation.texts.size());
        for (std::size_t i = 0; i < logged.size(); ++i) {
            EXPECT_EQ(logged[i].level, -1);
            EXPECT_EQ(logged[i].source, "PdibFilterChain");
            EXPECT_EQ(logged[i].text, operation.texts[i] + std::to_string(logged[i].line) + ")");
        }
    }
    probe->throwsOnLink = false;
    creator.throws = false;
    for (auto* filter : Filters()) static_cast<Probe*>(filter)->throwsOnLink = false;
    chain->RemoveAllFilters();

    // A log that fails is told of its own failure and keeps nobody from the exception.
    logged.clear();
    SetLogSink([](int level, const char* name, int line, const std::string& text) {
        logged.push_back({level, name, line, text});
        throw std::runtime_error("disk full");
    });
    const Ref<Probe> last = throwing();
    EXPECT_THROW(chain->AddFilter(static_cast<IFilterObject*>(last.get())), std::runtime_error);
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_EQ(logged[1].level, 0);
    EXPECT_EQ(logged[1].text, "Exception in logging " + std::to_string(logged[1].line) + ",PdibFilterChain");
    SetLogSink(nullptr);
    last->throwsOnLink = false;
}

}  // namespace
}  // namespace kestrel
