// Pictures and \NeXTGraphic groups, which both become one attachment character. A PNG or JPEG
// picture is named image1.png, image2.jpg, ... in the order met, since the document gives it no
// name; pictures in other formats are dropped. A \NeXTGraphic group names a file of the RTFD
// package, looked up among the files the caller gave, so that the text alone still reads.

#include <memory>
#include <string>
#include <utility>

#include "rich/rtf_reader.h"
#include "text/encodings.h"

namespace textrix::detail {

void RtfReader::readHexPicture(std::size_t end) {
  for (; pos_ < end; ++pos_) {
    const int nibble = hexValue(rtf_[pos_]);
    if (nibble < 0) continue;
    if (pictureHighNibble_ < 0) {
      pictureHighNibble_ = nibble;
    } else {
      picture_.push_back(static_cast<char>(pictureHighNibble_ * 16 + nibble));
      pictureHighNibble_ = -1;
    }
  }
}

void RtfReader::endDestination(const GroupState& closed) {
  switch (closed.destination) {
    case Destination::picture:
      if (!pictureExtension_.empty()) {
        std::string name = "image" + std::to_string(++pictureCount_) + ".";
        name += pictureExtension_;
        appendAttachment(std::move(name), std::make_shared<const std::string>(std::move(picture_)));
      }
      picture_.clear();
      break;
    case Destination::attachmentName: {
      std::string name = encodeUtf8(attachmentName_);
      const std::size_t first = name.find_first_not_of(' ');
      name = first == std::string::npos
                 ? std::string()
                 : name.substr(first, name.find_last_not_of(' ') + 1 - first);
      std::shared_ptr<const std::string> contents;
      if (attachments_ != nullptr) {
        auto found = attachments_->find(name);
        if (found != attachments_->end()) contents = found->second;
      }
      if (!contents) contents = std::make_shared<const std::string>();
      appendAttachment(std::move(name), std::move(contents));
      fallbackToSkip_ = 1;  // the placeholder character after the group
      break;
    }
    default:
      break;
  }
}

void RtfReader::appendAttachment(std::string name, std::shared_ptr<const std::string> contents) {
  if (group().destination != Destination::text) return;
  updateAttributes();
  flushText();
  AttributeDictionary attributes = pendingAttributes_;
  attributes.setObject(Attachment{std::move(name), std::move(contents)}, kAttachmentAttributeName);
  text_.appendString(std::u16string_view(&kAttachmentCharacter, 1), attributes);
}

}  // namespace textrix::detail
