// The vCard reader: any bytes from a file in the user's address book folders.
#include "vcard.h"

#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = fuzzBytes(data, size);
    const vcard::File file = vcard::parse(bytes);
    FUZZ_CHECK(file.gaps.size() == file.cards.size() + 1);
    // A file read cleanly is kept byte for byte, so writing it back unchanged loses nothing.
    if (file.clean) {
        QByteArray again = file.gaps.first();
        for (qsizetype i = 0; i < file.cards.size(); ++i)
            again += file.cards[i]->raw + file.gaps[i + 1];
        FUZZ_CHECK(again == bytes);
    }
    for (const auto& card : file.cards) {
        for (const vcard::Property& p : card->props) {
            p.text(card->version);
            p.components(card->version);
            // The writer must take any property without crashing. Whether a hostile one reads back as one
            // card is not checked: the program formats anew only the properties it sets itself.
            vcard::formatProperty(p, card->version, file.eol);
        }
    }
    return 0;
}
