#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets (fuzz/corpus/<Target>/).

Run again after changing it; the outputs are committed. Crafted inputs that
once broke a reader live in fuzz/regressions/<Target>/ and are kept as they are.
"""
import datetime
import re
import pathlib
import plistlib
import struct

ROOT = pathlib.Path(__file__).resolve().parent / "corpus"
UID = plistlib.UID


def write(target, name, value, fmt=plistlib.FMT_BINARY):
    folder = ROOT / target
    folder.mkdir(parents=True, exist_ok=True)
    data = value if isinstance(value, bytes) else plistlib.dumps(value, fmt=fmt, sort_keys=False)
    if fmt == plistlib.FMT_XML:
        # Our readers need no document type line; the seeds carry none.
        data = re.sub(rb"<!DOCTYPE[^\n]*\n", b"", data, count=1)
    (folder / name).write_bytes(data)


def both(target, name, value):
    write(target, name + ".bplist", value)
    write(target, name + ".xml", value, plistlib.FMT_XML)


def archive(objects):
    return {"$archiver": "NSKeyedArchiver", "$version": 100000, "$top": {"root": UID(1)}, "$objects": objects}


def classes(name, *parents):
    return {"$classname": name, "$classes": [name, *parents, "NSObject"]}


def timing(ticks):
    # duration, presentation time, decode time: value, timescale, flags, epoch
    valid = struct.pack("=qiIq", 1024, 44100, 1, 0)
    return valid + struct.pack("=qiIq", ticks, 44100, 1, 0) + struct.pack("=qiIq", 0, 0, 0, 0)


def payload_key(name):
    return "LMBroadcastProcessExtensionPayloadKey" + name


def main():
    both("PropertyList", "scalars", {"s": "text", "u": "Grüße ☃", "i": -5, "big": 1 << 40, "r": 0.5,
                                      "b": True, "d": b"\x00\x01", "when": datetime.datetime(2020, 1, 2, 3, 4, 5)})
    both("PropertyList", "nested", [[1, [2, {"k": [3]}]], {"a": {"b": {}}}, []])
    write("PropertyList", "uid.bplist", {"ref": UID(7), "list": [UID(0), UID(300)]})

    configuration = archive([
        "$null",
        {"$class": UID(4), "clipDuration": UID(2), "videoCompressionProperties": UID(3)},
        10.5,
        {"$class": UID(5), "NS.keys": [UID(6)], "NS.objects": [UID(7)]},
        classes("LMBroadcastConfiguration"),
        classes("NSDictionary"),
        "AverageBitRate",
        2000000,
    ])
    write("KeyedArchive", "configuration.bplist", configuration)
    write("KeyedArchive", "collections.bplist", archive([
        "$null",
        {"$class": UID(3), "NS.objects": [UID(2), UID(2), UID(4)]},
        "shared",
        classes("NSArray"),
        {"$class": UID(5), "NS.time": 1000.0},
        classes("NSDate"),
    ]))

    audio = {payload_key("SampleType"): 2, payload_key("NumSamples"): 8,
             payload_key("AudioBufferList"): bytes(range(16)), payload_key("TimingInfo"): timing(0)}
    both("UploadPayload", "audio", audio)
    write("UploadPayload", "list.bplist", [
        {payload_key("ActionType"): 1, "LMBroadcastExtensionKeyExtensionUserInfo": {"channel": "lumora"}},
        audio, dict(audio, **{payload_key("SampleType"): 3, payload_key("TimingInfo"): timing(8)}),
        {payload_key("SampleType"): 1}, {payload_key("ActionType"): 2}, {payload_key("ActionType"): 4}])

    both("ClipItems", "clip", {"LMBroadcastExtensionKeyMovieClipURL": "file:///tmp/clip.mp4",
                               "LMBroadcastExtensionKeyExtensionUserInfo": {"channel": "lumora"},
                               "LMBroadcastExtensionKeyRequestedFinish": True,
                               "LMBroadcastExtensionKeyExtensionSandboxToken": "token"})

    both("StringTable", "table", {"Title": "Recording", "Other": "Andere"})

    # The ingest server's statistics page, and a movie clip as the recording service cuts it.
    write("StatisticsPage", "page.xml", (
        b"<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<rtmp><server><application><name>live</name><live>"
        b"<stream><name>other</name><nclients>1</nclients></stream>"
        b"<stream><name>test</name><client><id>3</id><publishing/></client><client><id>4</id></client>"
        b"<nclients>2</nclients><publishing/></stream><nclients>3</nclients></live></application></server></rtmp>\n"))
    write("IngestClip", "srecorder.mp4", (ROOT.parent.parent / "resources" / "srecorder.mp4").read_bytes())

    # Messages between the device's processes: the payload after the length prefix.
    def message(kind, number, selector, arguments, descriptors=0):
        return {"kind": kind, "number": number, "selector": selector, "arguments": arguments,
                "descriptors": descriptors}

    null = {"$null": True}
    write("ServiceMessage", "request.bplist", message(0, 1, "startRecordingWindowLayerContextIDs:windowSize:"
          "microphoneEnabled:cameraEnabled:broadcast:systemRecording:withHandler:",
          [[7, 4294967295], 750.0, 1334.0, True, False, False, False]))
    write("ServiceMessage", "reply.bplist", message(1, 1, "stopRecordingWithHandler:",
          [{"$url": "file:///private/var/mobile/Library/RecordingService/Process/Recording-1.mp4"}, null]))
    write("ServiceMessage", "call.bplist", message(2, 0, "stopRecordingWithError:movieURL:",
          [{"$error": {"domain": "com.example", "code": -5805, "userInfo": {"note": {"$dict": {"a": null}}}}},
           null]))
    write("ServiceMessage", "nested.bplist", message(2, 0, "updateBroadcastServiceInfo:",
          [{"$dict": {"viewers": 12, "list": [1, {"$dict": {}}, [null]], "blob": b"\x00\x01",
                      "when": datetime.datetime(2020, 1, 2, 3, 4, 5), "$null": 1.5}}]))
    write("ServiceMessage", "descriptor.bplist", message(0, 2, "frame:", [{"$fd": 0, "kind": "memory"}], 1))

    # The extension request protocol: requests a host sends, replies an extension sends.
    def item(label, value):
        return {"$dict": {"label": label, "value": value}}

    payload = {"$dict": {"LMBroadcastProcessExtensionPayloadKeySampleType": 2,
                         "LMBroadcastProcessExtensionPayloadKeyAudioBufferList": {"$dict": {"$shared": [64, 512]}},
                         "LMBroadcastProcessExtensionPayloadKeyTimingInfo": b"\x00" * 16}}
    write("ExtensionMessage", "request.bplist", message(0, 3, "beginRequestWithItems:files:",
          [[item("payload", [payload, payload])], []]))
    write("ExtensionMessage", "reply.bplist", message(1, 3, "beginRequestWithItems:files:",
          [[item("LMBroadcastExtensionKeyExtensionServiceInfo", {"$dict": {"viewers": 3}}),
            item("blob", b"\x01\x02")]]))
    write("ExtensionMessage", "cancelled.bplist", message(1, 4, "beginRequestWithItems:files:",
          [{"$error": {"domain": "com.example", "code": 3, "userInfo": {"$dict": {}}}}]))
    write("ExtensionMessage", "outside.bplist", message(0, 5, "beginRequestWithItems:files:",
          [[item("payload", {"$dict": {"$shared": [4096, 1]}})], []]))
    write("ExtensionMessage", "view-request.bplist", message(0, 1, "beginViewRequest:items:files:interfaces:",
          ["4F1C-REQUEST", [item("LMVideoEditorExtensionMovieURLKey", "/private/var/mobile/movie.mp4")], [],
           {"$dict": {"hostContextClass": "LMVideoEditorExtensionHostContext",
                      "auxiliary": ["extensionDidFinishWithActivityTypes:"], "view": []}}]))
    write("ExtensionMessage", "relayed.bplist", message(2, 0, "relayMessage:connection:selector:arguments:",
          ["4F1C-REQUEST", "view", "inputValuesWithReply:", [{"$dict": {"$reply": 1}}]]))
    write("ExtensionMessage", "relayed-reply.bplist", message(2, 0, "relayReply:number:values:",
          ["4F1C-REQUEST", 1, [{"$dict": {"channel": "main"}}]]))
    write("ExtensionMessage", "request-ended.bplist", message(2, 0, "requestDidEnd:outcome:",
          ["4F1C-REQUEST", [item("LMBroadcastExtensionKeyExtensionUserInfo", {"$dict": {"channel": "main"}})]]))
    write("ExtensionMessage", "packed-place.bplist", message(0, 6, "beginRequestWithItems:files:",
          [{"$dict": {"$packed": [0, 64]}}, []]))

    # A packed record of payloads, as the host writes it into the shared block
    # (the target reads its whole input as one too): items labelled, each a
    # list of dictionaries (shape 1) or one (shape 2) of integers (1), reals
    # (2), booleans (3) and data (4; 256 bytes or more start on a 64-byte boundary).
    def text(value):
        return struct.pack("<H", len(value)) + value

    def entries(pairs):
        out = struct.pack("<I", len(pairs))
        for key, kind, value in pairs:
            out += text(key) + bytes([kind]) + value
        return out

    def record(items):
        out = struct.pack("<II", 0x4B504D4C, len(items))
        for label, shape, dictionaries in items:
            out += text(label) + bytes([shape])
            if shape == 1:
                out += struct.pack("<I", len(dictionaries))
            for pairs in dictionaries:
                out += entries(pairs)
        return out

    payload_entries = [(b"LMBroadcastProcessExtensionPayloadKeyNumSamples", 1, struct.pack("<q", 4)),
                       (b"LMBroadcastProcessExtensionPayloadKeySampleType", 1, struct.pack("<q", 2)),
                       (b"LMBroadcastProcessExtensionPayloadKeyTimingInfo", 4, struct.pack("<I", 8) + b"\x00" * 8),
                       (b"rate", 2, struct.pack("<d", 44100.0)), (b"muted", 3, b"\x01")]
    write("ExtensionMessage", "packed-record.bin",
          record([(b"payload", 1, [payload_entries, payload_entries]), (b"action", 2, [payload_entries])]))


    # The lab's WAV files: 16-bit PCM, mono at the device's rate and stereo at half of it.
    def wav(channels, rate, samples):
        data = b"".join(struct.pack("<h", sample) for sample in samples)
        fmt = struct.pack("<HHIIHH", 1, channels, rate, rate * channels * 2, channels * 2, 16)
        return (b"RIFF" + struct.pack("<I", 4 + 8 + len(fmt) + 8 + len(data)) + b"WAVE"
                + b"fmt " + struct.pack("<I", len(fmt)) + fmt + b"data" + struct.pack("<I", len(data)) + data)

    write("WavSound", "mono.wav", wav(1, 44100, [0, 1000, -1000, 32767, -32768]))
    write("WavSound", "stereo-22k.wav", wav(2, 22050, [1, 2, 3, 4, 5, 6]))


if __name__ == "__main__":
    main()
