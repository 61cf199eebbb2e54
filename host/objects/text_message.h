#ifndef KEP_HOST_TEXT_MESSAGE_H
#define KEP_HOST_TEXT_MESSAGE_H

#include <string>

#include "kep/message.h"

namespace kep::host {

/** A message made of attributes alone. */
class TextMessage final : public base::Message {
  public:
    TextMessage() = default;
    explicit TextMessage(const char* text) : attributes_(text) {}

    base::AttrSet& Attributes() override { return attributes_; }
    void toString(std::string& text) const override { text = attributes_.ToString(false); }
    bool fromString(const char* text) override { return attributes_.Parse(text); }

  private:
    base::AttrSet attributes_;
};

}  // namespace kep::host

#endif
