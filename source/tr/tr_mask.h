// Masking: secrets in what is traced, replaced by "(masked)". What is masked is told in tr_recorder.h. Any bytes may
// come in; where a header is malformed rather too much is masked than too little.
#ifndef TR_TR_MASK_H
#define TR_TR_MASK_H

#include "pb/pb_text.h"

#include <string_view>

namespace tr
{

/// Masks credentials in SIP headers. True, and the whole masked bytes in the empty RESULT, when BYTES held any; else
/// false and RESULT stays empty.
bool maskHeaders( std::string_view bytes, pb::Text &result );

/// The same for a line of text, which may also be a traced step of a response computation.
bool maskText( std::string_view text, pb::Text &result );

} // namespace tr

#endif
