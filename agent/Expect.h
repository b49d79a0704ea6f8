#pragma once

#include "Session.h"

namespace Agent {

/// The `expect` commands. One that is not met raises `Unmet`.

/// A command that was sent since the last one expected. Takes the commands up to and including it.
void expectCommand(Session& session, Rest text);
/// No command was sent since the last one expected.
void expectNothing(Session& session);
void expectRecord(Session& session, SubIntf subIntf, SubIntf patch, Client client, Tag encryptTag,
                  Tag clientTag);
void expectNoRecord(Session& session, SubIntf subIntf);
void expectEncap(Session& session, SubIntf subIntf, Tag tag);
void expectNoEncap(Session& session, SubIntf subIntf);
void expectMark(Session& session, Port port);
void expectNoMark(Session& session, Port port);
/// The last event raised an error with this text.
void expectError(Session& session, Rest text);

}  // namespace Agent
