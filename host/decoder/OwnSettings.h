#pragma once

#include "host/files/Descriptor.h"
#include "settings/XJSON.h"
#include "tags/TaggingOptions.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace w64 {

// Errors: Failure when the user's settings file exists and cannot be read.
void RequireReadableSettings();

// An option of the user's; nothing if it is not set. Errors: Failure as above.
std::optional<uint32_t> ReadTaggingOption(const std::string& name);

// The settings that the decoder finds while this program runs: the user's tagging options, with safe editing
// on. They are kept in memory; the user's own settings are only read.
// One object per program, made before the decoder is used.
class OwnSettings {
public:
    enum class Purpose {
        Reading,  // settings that cannot be read count as unset
        Editing,  // an edit must follow the user's options; errors: Failure
    };
    explicit OwnSettings(Purpose purpose = Purpose::Reading);

    // Whether the user has chosen where new lists go.
    bool ChoosesListPlace() const { return listPlace_.has_value(); }

    // While one lives, the decoder writes new lists in the form `text`, else as the user has chosen, else in 16-bit
    // characters, and before the audio if `beforeAudio` says so; else where the user has chosen. Outside an edit it
    // reads lists of every form.
    class Edit {
    public:
        Edit(OwnSettings& settings, std::optional<bool> beforeAudio, std::optional<LISTText> text)
            : settings_(&settings) {
            settings.Offer(text ? static_cast<uint32_t>(*text) : settings.listText_,
                           beforeAudio ? *beforeAudio : settings.listPlace_.value_or(0));
        }
        Edit(const Edit&) = delete;  // ends once
        Edit& operator=(const Edit&) = delete;
        ~Edit();

        void End();  // errors: Failure

    private:
        OwnSettings* settings_;  // null once it has ended
    };

private:
    void OfferEveryForm();
    void Offer(uint32_t listText, uint32_t listPlace);
    void MarkAsOld();

    Descriptor file_;
    std::unique_ptr<XJSON::Object> root_;  // what is written to it
    uint32_t listText_ = 0;                // as the user has chosen
    std::optional<uint32_t> listPlace_;    // likewise; nothing if unset
    time_t versions_ = 0;
};

}  // namespace w64
