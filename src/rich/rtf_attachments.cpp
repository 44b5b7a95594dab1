// SPDX-License-Identifier: MIT
// Pictures and \NeXTGraphic groups, which both become one attachment character. A picture is named
// image1.png, image2.wmf, ... by its format in the order met, since the document gives it no name;
// a picture that names no format the reader knows stays in the text as markup, as it was written. A
// \NeXTGraphic group names a file or folder of the RTFD package, looked up among those the caller
// gave, so that the text alone still reads.

#include <memory>
#include <string>
#include <utility>

#include "rich/rtf_markup.h"
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
      if (pictureFormat_ != PictureFormat::none) {
        std::string name = "image" + std::to_string(++pictureCount_) + ".";
        name += pictureFileExtension(pictureFormat_);
        appendAttachment({.fileName = std::move(name),
                          .contents = std::make_shared<const std::string>(std::move(picture_)),
                          .format = pictureFormat_,
                          .formatParameter = pictureFormatParameter_,
                          .size = pictureSize_});
      }
      // A picture of no format that a program could show stays as it was written.
      if (pictureFormat_ == PictureFormat::none && group().destination == Destination::text) {
        addMarkup(closedGroupBytes(closed, closed.destinationStart), closed.start, false);
      }
      picture_.clear();
      break;
    case Destination::fieldInstruction:
      fields_[static_cast<std::size_t>(closed.field)].instructionGroups.append(
          withUnicodeSkip(closedGroupBytes(closed, closed.destinationStart), group().unicodeSkip));
      break;
    case Destination::attachmentName: {
      std::string name = encodeUtf8(attachmentName_);
      const std::size_t first = name.find_first_not_of(' ');
      name = first == std::string::npos
                 ? std::string()
                 : name.substr(first, name.find_last_not_of(' ') + 1 - first);
      Attachment attachment{.fileName = std::move(name), .size = attachmentSize_};
      if (attachments_ != nullptr) {
        auto found = attachments_->find(attachment.fileName);
        if (found != attachments_->end()) attachment.contents = found->second;
      }
      if (directories_ != nullptr && !attachment.contents) {
        auto found = directories_->find(attachment.fileName);
        if (found != directories_->end()) attachment.directory = found->second;
      }
      if (!attachment.contents && !attachment.directory) {
        attachment.contents = std::make_shared<const std::string>();
      }
      appendAttachment(std::move(attachment));
      fallbackToSkip_ = 1;  // the placeholder character after the group
      break;
    }
    default:
      break;
  }
}

void RtfReader::appendAttachment(Attachment attachment) {
  appendCharacterWith(kAttachmentCharacter, kAttachmentAttributeName, std::move(attachment));
}

}  // namespace textrix::detail
