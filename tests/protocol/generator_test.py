"""The generator of the protocol's names and numbers, on a copy of what it reads."""
import contextlib
import io
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import tomllib
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(TOP / "protocol"))
import generate as generator  # only its folder makes it findable

SOURCE = "protocol/hostlink.toml"
PAGES = ("docs/wire-format.md", "docs/vocabulary.md")
PYTHON = "python/hostlink/protocol.py"
WRITTEN = {"src/lib/hostlink/HostLinkNumbers.h", "src/lib/hostlink/HostLinkVocabularyNumbers.h",
           "src/lib/hostlink/vocabulary/VocabularyRows.h", "src/lib/hostlink/core/WireNumbers.h",
           "fuzz/hostlink.dict", "dissector/hostlink.lua",
           PYTHON, *PAGES}
READ = [str(path.relative_to(TOP)) for path in (TOP / "dissector/parts").iterdir()]


PROTOCOL = tomllib.loads((TOP / SOURCE).read_text(encoding="utf-8"))
ROW = re.compile(r"([A-Za-z_.]+)\[<([^>]+)>\]")


def numbered(match):
    """`tags.State.rows[<STA_PowerState>]` with the number of that row, which moves when others are added."""
    rows = PROTOCOL
    for key in match[1].split("."):
        rows = rows[key]
    number = next(i for i, row in enumerate(rows) if match[2] in (row.get("enumerator"), row.get("name")))
    return f"{match[1]}[{number}]"


class Run:
    """One run of the generator, without the time that a process of its own takes to start."""

    def __init__(self, top, *words):
        with contextlib.redirect_stdout(io.StringIO()) as out, contextlib.redirect_stderr(io.StringIO()) as err:
            self.returncode = generator.main(["--top", str(top), *words])
        self.stdout, self.stderr = out.getvalue(), err.getvalue()


class Copy(unittest.TestCase):
    """A folder with what the generator reads, and what it has written once."""

    def setUp(self):
        self.top = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.top)
        for path in (SOURCE, *WRITTEN, *READ):
            (self.top / path).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(TOP / path, self.top / path)

    def contents(self):
        return {path: (self.top / path).read_text(encoding="utf-8") for path in WRITTEN}

    def edit(self, path, old, new):
        text = (self.top / path).read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1, f"{old!r} must stand once in {path}")
        (self.top / path).write_text(text.replace(old, new), encoding="utf-8")

    def refuse(self, line):
        """The run ends with 1, says this line and nothing else, and writes nothing."""
        before = self.contents()
        run = Run(self.top)
        self.assertEqual(run.stderr, line + "\n")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stdout, "")
        self.assertEqual(self.contents(), before)


class Mistakes(Copy):
    def refuse_edit(self, old, new, complaint):
        self.edit(SOURCE, old, new)
        self.refuse(f"{SOURCE}: {ROW.sub(numbered, complaint)}")

    # -- twice, or in the wrong place

    def test_number_twice(self):
        self.refuse_edit('number = 0x0003, enumerator = "STA_PowerState"',
                         'number = 0x0002, enumerator = "STA_PowerState"',
                         "tags.State.rows[<STA_PowerState>].number: "
                         "0x0002 stands at tags.State.rows[<STA_FirmwareState>] (STA_FirmwareState) too")

    def test_number_of_a_message_twice(self):
        self.refuse_edit("number = 0x8009", "number = 0x8007",
                         "messages.rows[<MSG_TcpTunnelingResponse>].number: "
                         "0x8007 stands at messages.rows[<MSG_DataTransferResponse>] (MSG_DataTransferResponse) too")

    def test_number_of_a_result_twice(self):
        self.refuse_edit('number = 11, enumerator', 'number = 10, enumerator',
                         "results.rows[<HOSTLINK_BAD_START_OF_PACKET>].number: "
                         "0x000a stands at results.rows[<HOSTLINK_TOO_SHORT>] (HOSTLINK_TOO_SHORT) too")

    def test_number_of_a_value_twice(self):
        self.refuse_edit('number = 6, name = "VTuner"', 'number = 4, name = "VTuner"',
                         "values.AudioSourceID.rows[<VTuner>].number: "
                         "0x0004 stands at values.AudioSourceID.rows[<Storage>] (Storage) too")

    def test_name_twice(self):
        self.refuse_edit('name = "STA_AudioBass"', 'name = "AudioGain"',
                         "tags.State.rows[<STA_AudioBass>].name: "
                         "AudioGain stands at tags.State.rows[<STA_AudioGain>] (STA_AudioGain) too")

    def test_name_of_a_value_twice(self):
        self.refuse_edit('number = 3, name = "Okay"', 'number = 3, name = "NoNetwork"',
                         "values.AlexaVoiceServiceState.rows[<Okay>].name: "
                         "NoNetwork stands at values.AlexaVoiceServiceState.rows[<NoNetwork>] (NoNetwork) too")

    def test_enumerator_twice(self):
        self.refuse_edit("STA_MetaAlbum\"", "STA_MetaTitle\"",
                         "tags.State.rows[<STA_MetaAlbum>].enumerator: "
                         "STA_MetaTitle stands at tags.State.rows[<STA_MetaTitle>] (STA_MetaTitle) too")

    def test_enumerator_of_two_enumerations(self):
        self.refuse_edit('enumerator = "BUT_KeyPressed"', 'enumerator = "LED_SetPattern"',
                         "tags.ButtonState.rows[<BUT_KeyPressed>].enumerator: "
                         "LED_SetPattern stands at tags.LedApiCmd.rows[<LED_SetPattern>] too")

    def test_enumerator_of_a_constant(self):
        self.refuse_edit('enumerator = "ENC_Nil"', 'enumerator = "HOSTLINK_SOP"',
                         "encodings.rows[<ENC_Nil>].enumerator: HOSTLINK_SOP stands at packet.start_mark too")

    def test_enumeration_twice(self):
        self.refuse_edit('enumeration = "LinkFrameType"', 'enumeration = "LinkFrameFormat"',
                         "frame_types: LinkFrameFormat is the name of formats too")

    def test_table_of_names_twice(self):
        self.refuse_edit('table = "buttonStateToString"', 'table = "formatToString"',
                         "tags.ButtonState: formatToString is the name of formats too")

    def test_rows_out_of_order(self):
        self.refuse_edit('number = 0x0002, enumerator = "STA_FirmwareState"',
                         'number = 0x0008, enumerator = "STA_FirmwareState"',
                         "tags.State.rows[<STA_PowerState>].number: 0x0003 stands behind 0x0008: rows ascend")

    def test_key_twice(self):
        self.edit(SOURCE, "largest_number = 63", "largest_number = 63\nlargest_number = 64")
        run = Run(self.top)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, f"^{SOURCE}: not readable as TOML: .*line [0-9]+")

    # -- unknown

    def test_unknown_kind_of_values(self):
        self.refuse_edit('[values.NetworkType]\nkind = "enumeration"', '[values.NetworkType]\nkind = "enum"',
                         "values.NetworkType.kind: unknown kind 'enum'; known: enumeration, bits")

    def test_unknown_kind_of_encoding(self):
        self.refuse_edit('name = "Uint16", kind = "unsigned"', 'name = "Uint16", kind = "natural"',
                         "encodings.rows[<ENC_Uint16>].kind: "
                         "unknown kind 'natural'; known: nil, binary, unsigned, signed")

    def test_unknown_body(self):
        self.refuse_edit('name = "SetStateMessage", body = "variant"', 'name = "SetStateMessage", body = "values"',
                         "messages.rows[<MSG_SetState>].body: unknown kind 'values'; known: list, variant")

    def test_unknown_way_of_showing_items(self):
        self.refuse_edit('tags = "LedApiCmd", items = "by number"', 'tags = "LedApiCmd", items = "by name"',
                         "messages.rows[<MSG_SetLedApi>].items: unknown kind 'by name'; known: named, by number")

    def test_unknown_tags(self):
        self.refuse_edit('tags = "ButtonState"', 'tags = "Buttons"',
                         "messages.rows[<MSG_InputEvent>].tags: unknown kind 'Buttons'; known: "
                         + ", ".join(PROTOCOL["tags"]))

    def test_unknown_values(self):
        self.refuse_edit('values = "TcpTunnelingResult"', 'values = "TcpTunnelingCode"',
                         "tags.TcpTunnelingState.rows[<TCP_Data>].values: unknown kind 'TcpTunnelingCode'; known: "
                         + ", ".join(PROTOCOL["values"]))

    def test_unknown_format(self):
        self.refuse_edit('format = "FMT_Irq"', 'format = "FMT_Interrupt"',
                         "frame_types.rows[<FRT_Irq>].format: there is no format FMT_Interrupt")

    def test_unknown_key_of_a_row(self):
        self.refuse_edit('name = "InvalidMessage",', 'name = "InvalidMessage", colour = "red",',
                         "messages.rows[<MSG_Invalid>].colour: unknown key")

    def test_unknown_key_of_a_table(self):
        self.refuse_edit("example_tag = 0x000C", "example_tag = 0x000C\nbyte_order = 1",
                         "encodings.byte_order: unknown key")

    def test_unknown_table(self):
        self.refuse_edit("\n[sizes]", "\n[colours]\n[sizes]", "colours: unknown key")

    def test_enumerator_where_there_is_no_enumeration(self):
        self.refuse_edit('number = 1, name = "UP"', 'number = 1, enumerator = "UP", name = "UP"',
                         "values.SystemUpState.rows[<UP>].enumerator: unknown key")

    # -- missing

    def test_missing_number(self):
        self.refuse_edit('number = 0x0003, enumerator = "STA_PowerState"', 'enumerator = "STA_PowerState"',
                         "tags.State.rows[<STA_PowerState>].number: missing")

    def test_missing_name(self):
        self.refuse_edit('enumerator = "PKT_Nack", name = "nack"', 'enumerator = "PKT_Nack"',
                         "control_flags.rows[<PKT_Nack>].name: missing")

    def test_missing_enumerator(self):
        self.refuse_edit('number = 0x0303, enumerator = "STA_HostName"', "number = 0x0303",
                         "tags.State.rows[<STA_HostName>].enumerator: missing")

    def test_missing_body(self):
        self.refuse_edit('name = "SetLedApi", body = "variant"', 'name = "SetLedApi"',
                         "messages.rows[<MSG_SetLedApi>].body: missing")

    def test_missing_kind(self):
        self.refuse_edit('[values.AlexaCallState]\nkind = "enumeration"', "[values.AlexaCallState]",
                         "values.AlexaCallState.kind: missing")

    def test_missing_table(self):
        self.refuse_edit("[results]", "[codes]", "results: missing")

    def test_missing_rows(self):
        self.refuse_edit("[formats]", "[formats.below]", "formats.doc: missing")

    def test_missing_table_of_names(self):
        self.refuse_edit('table = "formatToString"\n', "", "formats.table: missing")

    def test_missing_flag_that_frames_are_made_with(self):
        self.refuse_edit('"PKT_Last"', '"PKT_Final"', "control_flags.rows: there is no row PKT_Last")

    def test_missing_states(self):
        self.refuse_edit("[tags.State]", "[tags.Condition]", "tags.State: missing")

    def test_values_that_no_tag_has(self):
        self.refuse_edit(', values = "AlexaCallState"', "", "values.AlexaCallState: no tag has these values")

    # -- out of width, or of another type

    def test_state_of_more_than_16_bits(self):
        self.refuse_edit("number = 0xF316", "number = 0x1F316",
                         "tags.State.rows[<STA_VolumeMode>].number: 0x1f316 is outside 0x0 to 0xffff")

    def test_negative_tag(self):
        self.refuse_edit('number = 0, enumerator = "BUT_KeyReleased"', 'number = -1, enumerator = "BUT_KeyReleased"',
                         "tags.ButtonState.rows[<BUT_KeyReleased>].number: -0x1 is outside 0x0 to 0xffff")

    def test_encoding_of_more_than_8_bits(self):
        self.refuse_edit("number = 211", "number = 256",
                         "encodings.rows[<ENC_Int64>].number: 0x100 is outside 0x0 to 0xff")

    def test_value_of_more_than_32_bits(self):
        self.refuse_edit('number = 50, name = "QobuzConnect"', 'number = 0x80000000, name = "QobuzConnect"',
                         "values.AudioSourceID.rows[<QobuzConnect>].number: "
                         "0x80000000 is outside -0x80000000 to 0x7fffffff")

    def test_result_of_more_than_32_bits(self):
        self.refuse_edit('number = 24, enumerator', 'number = 0x100000000, enumerator',
                         "results.rows[<HOSTLINK_NO_STORAGE>].number: 0x100000000 is outside 0x0 to 0xffffffff")

    def test_message_number_above_the_largest(self):
        self.refuse_edit("number = 0x8009", "number = 0x8040",
                         "messages.rows[<MSG_TcpTunnelingResponse>].number: 0x8040 is above the largest number, 63")

    def test_acknowledgement_of_more_than_2_bits(self):
        self.refuse_edit('number = 3, enumerator = "AckNack"', 'number = 4, enumerator = "AckNack"',
                         "acknowledgements.rows[<AckNack>].number: 4 does not fit its bits of the flags byte")

    def test_format_of_more_than_3_bits(self):
        self.refuse_edit('number = 3, enumerator = "FMT_Message"', 'number = 8, enumerator = "FMT_Message"',
                         "formats.rows[<FMT_Message>].number: 8 does not fit its bits of the flags byte")

    def test_example_out_of_width(self):
        self.refuse_edit("width = 1, example = -6", "width = 1, example = -129",
                         "encodings.rows[<ENC_Int8>].example: -0x81 is outside -0x80 to 0x7f")

    def test_width_that_the_kind_has_not(self):
        self.refuse_edit('name = "Uint32", kind = "unsigned", width = 4',
                         'name = "Uint32", kind = "unsigned", width = 3',
                         "encodings.rows[<ENC_Uint32>].width: 3 is no width of unsigned; known: 1, 2, 4, 8")

    def test_width_of_a_field(self):
        self.refuse_edit("offset = 2, width = 2", "offset = 2, width = 3",
                         'packet.fields[<length>].width: unknown width 3; known: 1, 2, 4, "n"')

    def test_number_that_is_a_text(self):
        self.refuse_edit("number = 0xF316", 'number = "0xF316"',
                         "tags.State.rows[<STA_VolumeMode>].number: must be a number, not '0xF316'")

    def test_number_that_is_true(self):
        self.refuse_edit('number = 1, name = "UP"', 'number = true, name = "UP"',
                         "values.SystemUpState.rows[<UP>].number: must be a number, not True")

    def test_name_that_is_a_number(self):
        self.refuse_edit('name = "KORVA Audio Input"', "name = 5",
                         "tags.State.rows[<STA_KorvaAudioInput>].name: "
                         "must be a text of one line without backslashes, not 5")

    def test_name_with_a_quote(self):
        self.refuse_edit('name = "KORVA Audio Input"', "name = 'KORVA \"Audio\" Input'",
                         "tags.State.rows[<STA_KorvaAudioInput>].name: "
                         "must be ASCII letters for the log, without quotes, not 'KORVA \"Audio\" Input'")

    def test_empty_name(self):
        self.refuse_edit('name = "KORVA Audio Input"', 'name = ""',
                         "tags.State.rows[<STA_KorvaAudioInput>].name: "
                         "must be ASCII letters for the log, without quotes, not ''")

    def test_enumerator_that_is_none(self):
        self.refuse_edit('"STA_KorvaAudioInput"', '"STA_Korva Audio"',
                         "tags.State.rows[<STA_KorvaAudioInput>].enumerator: 'STA_Korva Audio' is no identifier of C")

    def test_comment_that_ends_a_comment(self):
        self.refuse_edit('doc = "header, 32-bit value, trailer"', 'doc = "header */"',
                         "sizes.rows[<HOSTLINK_IRQ_FRAME_SIZE>].doc: "
                         "must be a text of one line without backslashes, not 'header */'")

    def test_comment_that_is_too_long(self):
        self.refuse_edit('doc = "header, 32-bit value, trailer"', f'doc = "{"w" * 90}"',
                         f"sizes.rows[<HOSTLINK_IRQ_FRAME_SIZE>]: "
                         f"too long: 'HOSTLINK_IRQ_FRAME_SIZE = 14,     ///< {'w' * 90}' takes more than 120 columns")

    def test_tables_that_are_none(self):
        text = (self.top / SOURCE).read_text(encoding="utf-8")
        (self.top / SOURCE).write_text("values = 5\n" + text[:text.index("[values.")], encoding="utf-8")
        self.refuse(f"{SOURCE}: values: must hold tables")

    def test_table_whose_name_is_no_identifier(self):
        self.refuse_edit("[values.NetworkType]", '[values."Network Type"]',
                         "values: 'Network Type' is no identifier of C")

    def test_offset_that_is_none(self):
        self.refuse_edit('offset = "8 + n"', 'offset = "later"',
                         "packet.fields[<trailer>].offset: must be a number of bytes or \"8 + n\", not 'later'")

    def test_payload_that_is_none(self):
        self.refuse_edit("payload = 4", 'payload = "four"',
                         "frame_types.rows[<FRT_Irq>].payload: must be a number of bytes or \"n\", not 'four'")

    def test_packet_without_a_payload(self):
        self.refuse_edit('offset = 8, width = "n"', "offset = 8, width = 4",
                         "packet.fields[<trailer>].offset: must be 12")

    def test_packet_that_ends_without_a_payload(self):
        text = (self.top / SOURCE).read_text(encoding="utf-8")
        lines = [line for line in text.splitlines(keepends=True) if '{ name = "payload"' not in line
                 and '{ name = "trailer"' not in line]
        (self.top / SOURCE).write_text("".join(lines), encoding="utf-8")
        self.refuse(f'{SOURCE}: packet.fields: one field has the width "n", the payload')

    def test_missing_size(self):
        self.refuse_edit('size = "HOSTLINK_IRQ_FRAME_SIZE"', 'size = "HOSTLINK_INTERRUPT_SIZE"',
                         "sizes: there is no row HOSTLINK_INTERRUPT_SIZE")

    def test_checked_that_is_no_truth(self):
        self.refuse_edit('written = "`FF FE`", checked = true', 'written = "`FF FE`", checked = "yes"',
                         "packet.fields[<start mark>].checked: must be true or false, not 'yes'")

    def test_rows_that_are_none(self):
        self.refuse_edit('rows = [\n    { number = 1, name = "UP" },\n]', "rows = 1",
                         "values.SystemUpState.rows: must be a list of rows")

    def test_row_that_is_none(self):
        self.refuse_edit('{ number = 1, name = "UP" }', '"UP"', "values.SystemUpState.rows[<UP>]: must be a table")

    # -- parts that contradict each other

    def test_bits_that_are_none(self):
        self.refuse_edit('number = 4, name = "Next"', 'number = 3, name = "Next"',
                         "values.PlayerControlFlags.rows[<Next>].number: 3 is not one bit")

    def test_bits_of_a_tag_without_a_set_for_them(self):
        self.refuse_edit('bits_table = "stateBitFlag"\n', "",
                         "tags.State.rows[<STA_PlayerControlFlags>].values: "
                         "tags.State has no bits_table that could hold it")

    def test_values_of_a_tag_without_a_table_for_them(self):
        self.refuse_edit('enumerator = "BUT_KeyPressed", name',
                         'enumerator = "BUT_KeyPressed", values = "NetworkType", name',
                         "tags.ButtonState.rows[<BUT_KeyPressed>].values: "
                         "tags.ButtonState has no values_table that could hold them")

    def test_flag_of_two_bits(self):
        self.refuse_edit("number = 0x20", "number = 0x30", "control_flags.rows[<PKT_Last>].number: 0x30 is not one bit")

    def test_flag_within_the_format(self):
        self.refuse_edit("number = 0x20", "number = 0x04",
                         "control_flags.rows[<PKT_Last>].number: 0x04 shares a bit with packet.flags.format")

    def test_gap_between_fields(self):
        self.refuse_edit("offset = 5, width = 1", "offset = 6, width = 1",
                         "packet.fields[<frame id>].offset: must be 5")

    def test_field_behind_the_payload_with_an_offset(self):
        self.refuse_edit('offset = "8 + n"', "offset = 9", "packet.fields[<trailer>].offset: must be 8 + n")

    def test_field_twice(self):
        self.refuse_edit('{ name = "packet id"', '{ name = "frame id"',
                         "packet.fields[<packet id>].name: 'frame id' stands twice")

    def test_size_that_the_fields_do_not_make(self):
        self.refuse_edit("number = 14, enumerator", "number = 15, enumerator",
                         "sizes.rows[<HOSTLINK_IRQ_FRAME_SIZE>].number: "
                         "HOSTLINK_IRQ_FRAME_SIZE is 15, but the fields of the packet make 14")

    def test_body_that_the_id_does_not_have(self):
        self.refuse_edit('name = "StateChangedMessage", body = "variant"',
                         'name = "StateChangedMessage", body = "list"',
                         "messages.rows[<MSG_StateChanged>].body: the id 0x0004 makes it a variant")

    def test_answer_that_is_no_response(self):
        self.refuse_edit('answer = "MSG_TcpTunnelingResponse"', 'answer = "MSG_SetLedApi"',
                         "messages.rows[<MSG_TcpTunneling>].answer: MSG_SetLedApi is no response to it")

    def test_answer_that_is_not_there(self):
        self.refuse_edit('answer = "MSG_TcpTunnelingResponse"', 'answer = "MSG_Tunnelled"',
                         "messages.rows[<MSG_TcpTunneling>].answer: MSG_Tunnelled is no response to it")

    def test_answer_to_two_requests(self):
        self.refuse_edit('answer = "MSG_TcpTunnelingResponse"', 'answer = "MSG_DataTransferResponse"',
                         "messages.rows[<MSG_TcpTunneling>].answer: "
                         "MSG_DataTransferResponse answers MSG_DataTransfer too")


class Pages(Copy):
    def test_mark_without_an_end(self):
        self.edit(PAGES[0], "<!-- end of flags -->", "")
        self.refuse(f"{PAGES[0]}: flags: this table's mark has no end")

    def test_table_that_is_none(self):
        page = self.top / PAGES[0]
        with page.open("a", encoding="utf-8") as file:
            file.write("<!-- protocol: colours -->\n\n<!-- end of colours -->\n")
        self.refuse(f"{PAGES[0]}: colours: there is no such table; known: packet fields, flags, frame types, "
                    "acknowledgements, messages, body masks, encodings, tags, result codes, states, values")

    def test_table_that_stands_nowhere(self):
        self.edit(PAGES[1], "<!-- protocol: values -->", "")
        self.refuse(f"{PAGES[0]} and {PAGES[1]}: values: this table is marked 0 times, not once")

    def test_page_that_is_not_there(self):
        (self.top / PAGES[1]).unlink()
        run = Run(self.top)
        self.assertEqual(run.returncode, 1)
        self.assertRegex(run.stderr, f"No such file or directory.*{PAGES[1]}")


STATE = '    { number = 0xEFFF, enumerator = "STA_PlayerSpeed", name = "PlayerSpeed"%s },\n'
NEXT_STATE = '    { number = 0xF001,'


class Changes(Copy):
    def test_a_mistake_ends_the_process_with_1(self):
        self.edit(SOURCE, "[sizes]\ndoc", "[sizes]\nexplanation")
        run = subprocess.run([sys.executable, "-B", TOP / "protocol/generate.py", "--top", self.top],
                             capture_output=True, text=True, check=False)
        self.assertEqual((run.returncode, run.stdout, run.stderr), (1, "", f"{SOURCE}: sizes.doc: missing\n"))

    def add_state(self, extra=""):
        self.edit(SOURCE, NEXT_STATE, STATE % extra + NEXT_STATE)

    def changed(self, run):
        self.assertEqual(run.stderr, "")
        self.assertEqual(run.returncode, 0)
        return {line.removeprefix("wrote ") for line in run.stdout.splitlines()}

    def test_nothing_is_written_when_nothing_has_changed(self):
        self.assertEqual(self.changed(Run(self.top)), set())

    def test_a_state_is_one_line(self):
        before = self.contents()
        self.add_state()
        self.assertEqual(self.changed(Run(self.top)), {
            "src/lib/hostlink/HostLinkVocabularyNumbers.h", "src/lib/hostlink/vocabulary/VocabularyRows.h",
            "dissector/hostlink.lua", PYTHON, PAGES[1]})
        after = self.contents()
        for path, line in (("src/lib/hostlink/HostLinkVocabularyNumbers.h", "    STA_PlayerSpeed = 0xEFFF,\n"),
                           ("src/lib/hostlink/vocabulary/VocabularyRows.h", '    {STA_PlayerSpeed, "PlayerSpeed"},\n'),
                           ("dissector/hostlink.lua", '            [0xEFFF] = "PlayerSpeed",\n'),
                           (PYTHON, "    PlayerSpeed = 0xEFFF\n"),
                           (PAGES[1], '| `0xEFFF` | 61439 | `STA_PlayerSpeed` | "PlayerSpeed" | |\n')):
            self.assertEqual(after[path].replace(line, ""), before[path])
            self.assertEqual(after[path].count(line), 1)

    def test_a_state_of_bits(self):
        self.add_state(', values = "PlayerSpeed"')
        source = self.top / SOURCE
        source.write_text(source.read_text(encoding="utf-8") + '\n[values.PlayerSpeed]\nkind = "bits"\nrows = [\n'
                          '    { number = 1, name = "Double" },\n]\n', encoding="utf-8")
        self.assertIn("fuzz/hostlink.dict", self.changed(Run(self.top)))
        rows = self.contents()["src/lib/hostlink/vocabulary/VocabularyRows.h"]
        self.assertIn('constexpr Row playerSpeedValues[] = {\n    {1, "Double"},\n};\n', rows)
        self.assertIn("    {STA_PlayerSpeed, playerSpeedValues},\n", rows)
        self.assertIn("    STA_PlayerSpeed,\n", rows[rows.index("stateBitFlagRows"):])

    def test_a_name_that_is_a_word_of_python(self):
        self.edit(SOURCE, '{ number = 1, name = "UP" }', '{ number = 1, name = "lambda" }')
        self.changed(Run(self.top))
        self.assertIn("    lambda_ = 1\n", self.contents()[PYTHON])

    def test_two_names_that_are_one_in_python(self):
        self.edit(SOURCE, '{ number = 1, name = "UP" }', '{ number = 1, name = "U-P" },\n    { number = 2, name = "U P" }')
        run = Run(self.top)
        self.assertEqual(run.returncode, 1)
        self.assertIn("U_P stands at values.SystemUpState.rows[", run.stderr)

    def test_a_negative_value(self):
        self.edit(SOURCE, '{ number = 1, name = "UP" }', '{ number = -1, name = "UP" }')
        self.changed(Run(self.top))
        self.assertIn('state_system_up_state="\\x20\\x00\\xCE\\xFF\\xFF\\xFF\\xFF"\n',
                      self.contents()["fuzz/hostlink.dict"])

    def test_check_names_the_file_and_what_mends_it(self):
        self.add_state()
        before = self.contents()
        run = Run(self.top, "--check")
        self.assertEqual(run.returncode, 1)
        self.assertEqual(run.stderr.splitlines(), [
            f"{path} is not what {SOURCE} says; mend it with: make protocol"
            for path in ("src/lib/hostlink/HostLinkVocabularyNumbers.h", "src/lib/hostlink/vocabulary/VocabularyRows.h",
                         PAGES[1], "dissector/hostlink.lua", PYTHON)])
        self.assertEqual(self.contents(), before)

    def test_check_sees_a_written_file_that_was_edited(self):
        self.edit("fuzz/hostlink.dict", 'half_mark="\\xFF"', 'half_mark="\\xFE"')
        run = Run(self.top, "--check")
        self.assertEqual(run.stderr, f"fuzz/hostlink.dict is not what {SOURCE} says; mend it with: make protocol\n")
        self.assertEqual(run.returncode, 1)

    def test_check_sees_a_file_that_is_gone(self):
        (self.top / "fuzz/hostlink.dict").unlink()
        run = Run(self.top, "--check")
        self.assertEqual(run.stderr, f"fuzz/hostlink.dict is not what {SOURCE} says; mend it with: make protocol\n")
        self.assertEqual(run.returncode, 1)

    def test_text_around_the_tables_stays(self):
        self.edit(PAGES[0], "# Wire format\n", "# Another title\n")
        self.edit(SOURCE, 'meaning = "palette"', 'meaning = "colours"')
        self.assertEqual(self.changed(Run(self.top)), {PAGES[0], PYTHON})
        page = self.contents()[PAGES[0]]
        self.assertTrue(page.startswith("# Another title\n"))
        self.assertIn("| `LedApiCmd` | 0 colours, 1 pattern |\n", page)


class Project(unittest.TestCase):
    def test_files_are_what_the_protocol_says(self):
        run = subprocess.run([sys.executable, "-B", TOP / "protocol/generate.py", "--check"], capture_output=True,
                             text=True, check=False)
        self.assertEqual(run.stderr, "")
        self.assertEqual(run.returncode, 0)
        self.assertEqual(run.stdout, f"{len(WRITTEN)} files are what {SOURCE} says.\n")

    def test_files_say_that_they_are_written(self):
        for path in WRITTEN - set(PAGES):
            first = (TOP / path).read_text(encoding="utf-8").splitlines()[0]
            self.assertRegex(first, "Written by protocol/generate.py from protocol/hostlink.toml, do not edit")

    @unittest.skipIf(shutil.which("clang-format") is None, "make lint has clang-format")
    def test_files_are_formatted(self):
        sources = [TOP / path for path in WRITTEN if path.endswith(".h")]
        subprocess.run(["clang-format", "--dry-run", "--Werror", *sources], check=True)


if __name__ == "__main__":
    unittest.main()
