#!/usr/bin/env python3
"""Signs copies of the filter, a program and the package with throw-away keys, and verifies what comes out.

    check_signing.py SOURCE-FOLDER PACKAGE-FOLDER VERSION

The first folder is also that of the builds; the second holds what Scripts/package.sh has made.
"""
import http.server
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import threading
import unittest

ROOT, PACKAGES, VERSION = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
del sys.argv[1:]

SIGN = ROOT / "Scripts/sign.sh"
BUILT = ROOT / "build/mingw-x64-release/bin"
PASSWORD = "a pass, with blank & sign"


def openssl(*arguments, **options):
    return subprocess.run(["openssl", *arguments], check=True, capture_output=True, **options)


def verified(file, *trust):
    """What the signing program itself says of a file, this script apart."""
    run = subprocess.run(["osslsigncode", "verify", *trust, "-in", file], capture_output=True, text=True)
    return run.returncode, run.stdout + run.stderr


class Authority:
    """A root, and what it issues, in files of a folder."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        self.root = folder / f"{name}.pem"
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name}",
                "-keyout", self.root.with_suffix(".key"), "-out", self.root)

    def issue(self, name, usage):
        certificate, request, extensions = (self.folder / f"{name}.{kind}" for kind in ("pem", "csr", "cnf"))
        key = certificate.with_suffix(".key")
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-subj", f"/O=Kuvant/CN={name}", "-keyout", key, "-out", request)
        extensions.write_text(f"basicConstraints=critical,CA:false\nkeyUsage=critical,digitalSignature\n"
                              f"extendedKeyUsage=critical,{usage}\n")
        openssl("x509", "-req", "-days", "2", "-in", request, "-CA", self.root, "-CAkey", self.root.with_suffix(".key"),
                "-extfile", extensions, "-out", certificate)
        return certificate, key


class TimeStamps:
    """A time-stamp server of this machine: RFC 3161 by openssl, asked over the loopback."""

    def __init__(self, folder, authority):
        certificate, key = authority.issue("Throw-away clock", "timeStamping")
        (folder / "serial").write_text("01\n")
        configuration = folder / "tsa.cnf"
        configuration.write_text(f"""[tsa]
default_tsa = clock
[clock]
serial = {folder}/serial
signer_cert = {certificate}
signer_key = {key}
signer_digest = sha256
default_policy = 1.2.3.4.1
digests = sha256
ess_cert_id_alg = sha256
""")

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                query = folder / "query"
                query.write_bytes(self.rfile.read(int(self.headers["Content-Length"])))
                reply = openssl("ts", "-reply", "-config", configuration, "-queryfile", query).stdout
                self.send_response(200)
                self.send_header("Content-Type", "application/timestamp-reply")
                self.send_header("Content-Length", str(len(reply)))
                self.end_headers()
                self.wfile.write(reply)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.url = f"http://127.0.0.1:{self.server.server_port}/"
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def stop(self):
        self.server.shutdown()
        self.server.server_close()


def setUpModule():
    global keys, authority, signer, protected, bundle, password
    folder = tempfile.TemporaryDirectory()
    unittest.addModuleCleanup(folder.cleanup)
    keys = pathlib.Path(folder.name)
    authority = Authority(keys, "Throw-away root")
    signer = authority.issue("Throw-away signer", "codeSigning")
    password = keys / "password"
    password.write_text(PASSWORD + "\n")
    protected, bundle = keys / "protected.key", keys / "signer.p12"
    openssl("pkcs8", "-topk8", "-in", signer[1], "-out", protected, "-passout", f"file:{password}")
    openssl("pkcs12", "-export", "-in", signer[0], "-inkey", signer[1], "-out", bundle, "-passout", f"file:{password}")


class Signing(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="a folder ")
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        sources = [BUILT / "KuvCredFilter.dll", BUILT / "KuvFilterHost.exe", PACKAGES / f"KuvCredFilter-{VERSION}-x64.msi"]
        self.files = [pathlib.Path(shutil.copy(source, self.folder)) for source in sources]
        self.dll = self.files[0]
        self.before = {file: file.read_bytes() for file in self.files}

    def sign(self, *arguments, expect=0, **options):
        run = subprocess.run([SIGN, *arguments], capture_output=True, text=True, stdin=subprocess.DEVNULL, **options)
        self.assertEqual(run.returncode, expect, run.stdout + run.stderr)
        return run.stdout + run.stderr

    def with_key(self):
        return ["--cert", signer[0], "--key", signer[1], "--ca", authority.root]

    def assert_untouched(self):
        self.assertEqual({file: file.read_bytes() for file in self.folder.iterdir()}, self.before)

    def test_signs_library_program_and_package(self):
        self.dll.chmod(0o640)
        output = self.sign(*self.with_key(), "--url", "https://kuv.example/filter", *self.files)
        for file in self.files:
            self.assertIn(f"{file}: signed by /O=Kuvant/CN=Throw-away signer\n", output)
            code, told = verified(file, "-CAfile", authority.root)
            self.assertEqual(code, 0, told)
            self.assertIn("SHA256", told)
            self.assertIn("Text description: Kuv Credential Provider Filter", told)
            self.assertIn("https://kuv.example/filter", told)
        self.assertEqual(self.dll.stat().st_mode & 0o777, 0o640)
        self.assertEqual(set(self.folder.iterdir()), set(self.files), "nothing is left beside them")
        self.assertEqual(self.sign("--verify", "--ca", authority.root, *self.files), output)

    def test_description_can_be_another(self):
        self.sign(*self.with_key(), "--description", "Something else", self.dll)
        self.assertIn("Text description: Something else", verified(self.dll, "-CAfile", authority.root)[1])

    def test_signs_again_in_place_of_the_old_signature(self):
        self.sign(*self.with_key(), self.dll)
        self.sign(*self.with_key(), self.dll)
        self.assertIn("Number of verified signatures: 1", verified(self.dll, "-CAfile", authority.root)[1])

    def test_takes_keys_that_a_password_protects(self):
        for key in (["--pkcs12", bundle], ["--cert", signer[0], "--key", protected]):
            with self.subTest(key[0]):
                self.sign(*key, "--password-file", password, "--ca", authority.root, self.dll)
                self.assertEqual(verified(self.dll, "-CAfile", authority.root)[0], 0)

    def test_no_process_has_the_password_on_its_command_line(self):
        """An osslsigncode in front of the real one notes its arguments."""
        tools = self.folder / "tools"
        tools.mkdir()
        program = tools / "osslsigncode"
        program.write_text(f'#!/bin/sh\nprintf "%s\\n" "$@" >>"{tools}/arguments"\n'
                           f'exec {shutil.which("osslsigncode")} "$@"\n')
        program.chmod(0o755)
        self.sign("--pkcs12", bundle, "--password-file", password, "--ca", authority.root, self.dll,
                  env={**os.environ, "PATH": f"{tools}:{os.environ['PATH']}"})
        arguments = (tools / "arguments").read_text()
        self.assertIn("-readpass\n", arguments)
        self.assertNotIn(PASSWORD, arguments)

    def test_one_other_byte_breaks_a_signature(self):
        self.sign(*self.with_key(), *self.files)
        for file in self.files:
            with self.subTest(file.name):
                data = bytearray(file.read_bytes())
                # In the midst of what was signed; of a package, in the files that it holds.
                data[len(self.before[file]) // 2] ^= 1
                file.write_bytes(data)
                self.assertNotEqual(verified(file, "-CAfile", authority.root)[0], 0)
                self.assertIn(f"the signature of {file} does not hold",
                              self.sign("--verify", "--ca", authority.root, file, expect=1))

    def test_another_root_does_not_vouch_for_it(self):
        self.sign(*self.with_key(), self.dll)
        other = Authority(keys, "Another root")
        for trust in (["--ca", other.root], []):
            self.assertIn("does not hold", self.sign("--verify", *trust, self.dll, expect=1))

    def test_verification_tells_what_is_not_signed(self):
        text = self.folder / "notes.txt"
        text.write_text("no program\n")
        output = self.sign("--verify", "--ca", authority.root, self.dll, self.files[2], text, expect=1)
        self.assertIn(f"{self.dll} is not signed", output)
        self.assertIn(f"{self.files[2]} is not signed", output)
        self.assertIn(f"{text} is no program and no package", output)

    def test_a_failure_leaves_the_file_as_it_was(self):
        wrong = keys / "wrong"
        wrong.write_text("wrong\n")
        other = authority.issue("Another signer", "codeSigning")
        failures = {
            "a wrong password": ["--pkcs12", bundle, "--password-file", wrong, "--ca", authority.root],
            "no password": ["--pkcs12", bundle, "--ca", authority.root],
            "another's key": ["--cert", signer[0], "--key", other[1], "--ca", authority.root],
            "a root that is not trusted": ["--cert", signer[0], "--key", signer[1]],
            # Nobody listens on port 1.
            "no time-stamp server": [*self.with_key(), "--timestamp", "http://127.0.0.1:1/"],
        }
        for reason, key in failures.items():
            with self.subTest(reason):
                self.assertIn(f"{self.dll} was not signed", self.sign(*key, self.dll, expect=1))
                self.assert_untouched()

    def test_a_file_that_cannot_be_signed_is_told(self):
        text = self.folder / "notes.txt"
        text.write_text("no program\n")
        self.assertIn(f"{text} was not signed", self.sign(*self.with_key(), text, expect=1))
        self.assertEqual(text.read_text(), "no program\n")

    def test_usage_is_checked_before_anything_is_touched(self):
        absent = self.folder / "absent"
        for told, code, arguments in (
                ("a key is needed", 2, [self.dll]),
                ("a key is needed", 2, ["--cert", signer[0], self.dll]),
                ("no other is needed", 2, ["--pkcs12", bundle, "--key", signer[1], self.dll]),
                ("no file is named", 2, self.with_key()),
                ("unknown option --force", 2, ["--force", self.dll]),
                ("--key takes a value", 2, [self.dll, "--key"]),
                (f"cannot read {absent} (--key)", 1, ["--cert", signer[0], "--key", absent, self.dll]),
                (f"cannot read {absent} (--pkcs12)", 1, ["--pkcs12", absent, self.dll]),
                (f"cannot read {absent}", 1, [*self.with_key(), self.dll, absent])):
            with self.subTest(told):
                self.assertIn(told, self.sign(*arguments, expect=code))
                self.assert_untouched()

    def test_a_time_stamp_is_taken_from_the_server_and_verified(self):
        clock_root = Authority(keys, "Root of the clock")
        clock = TimeStamps(keys, clock_root)
        self.addCleanup(clock.stop)
        stamp = [*self.with_key(), "--timestamp", clock.url]
        files = [self.dll, self.files[2]]
        output = self.sign(*stamp, "--tsa-ca", clock_root.root, *files)
        for file in files:
            self.assertIn(f"{file}: signed by /O=Kuvant/CN=Throw-away signer, with a time stamp\n", output)
            code, told = verified(file, "-CAfile", authority.root, "-TSA-CAfile", clock_root.root)
            self.assertEqual(code, 0, told)
            self.assertIn("CN=Root of the clock", told)
            self.assertIn("Timestamp Server Signature verification: ok", told)
        # A clock that nobody vouches for is refused.
        before = self.dll.read_bytes()
        self.assertIn("could not be verified", self.sign(*stamp, self.dll, expect=1))
        self.assertEqual(self.dll.read_bytes(), before)
        self.assertIn("the time stamp of", self.sign("--verify", "--ca", authority.root, self.dll, expect=1))

    def test_package_is_signed_within_and_without(self):
        subprocess.run([ROOT / "Scripts/package.sh", "--no-build", "--output", self.folder / "signed", "--",
                        *self.with_key()], check=True, stdout=subprocess.DEVNULL)
        package = self.folder / "signed" / f"KuvCredFilter-{VERSION}-x64.msi"
        self.assertEqual(verified(package, "-CAfile", authority.root)[0], 0)
        subprocess.run(["msiextract", "-C", self.folder / "inside", package], check=True, stdout=subprocess.DEVNULL)
        programs = [path for path in (self.folder / "inside").rglob("*") if path.suffix in (".dll", ".exe")]
        self.assertEqual({path.name for path in programs} >= {"KuvCredFilter.dll"}, True)
        for program in programs:
            self.assertEqual(verified(program, "-CAfile", authority.root)[0], 0, program.name)


if __name__ == "__main__":
    unittest.main()
