#!/bin/sh
# A handler that computes its replies: it names the entity that it was asked about, and
# refuses what would change something.
exec jq --unbuffered --compact-output '
  if .command | test("^(info|get|what-if)-") then
    {text: ({command, entity: .fields.uuid} | tojson)}
  else
    {status: "0x2bad001e", text: "read only"}
  end'
