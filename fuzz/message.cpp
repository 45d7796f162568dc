// The message parser: a received text taken apart, then written out again from its parts.
#include "emailmessage.h"
#include "fuzz.h"
#include "random.h"

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setRandomSource([] { return 0.5; }); // the same boundaries every run, so an input replays alike
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString text = fuzzText(data, size);
    EmailMessage m;
    m.setSource(text);
    FUZZ_CHECK(m.RawSource() == text);
    EmailMessage back;
    back.setSource(m.Source());
    return 0;
}
