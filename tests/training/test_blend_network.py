"""Means of small network files, and files that have none."""

import contextlib
import io
import os
import struct
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "training"))

import blend_network


def network(weights, weight_scale=3000, hidden=2):
    header = struct.pack("<10hi", 770, 1500, weight_scale, 400, 2, 1, hidden, 0, 0, 5, len(weights))
    return header + struct.pack(f"<{len(weights)}h", *weights)


class BlendNetworkTest(unittest.TestCase):
    def setUp(self):
        self.temporary = tempfile.TemporaryDirectory()

    def tearDown(self):
        self.temporary.cleanup()

    def path(self, name):
        return os.path.join(self.temporary.name, name)

    def blend(self, trained, old, *more, first=()):
        """Exit status, error text and the written file, None where there is none."""
        for name, content in (("trained", trained), ("old", old)):
            with open(self.path(name), "wb") as file:
                file.write(content)
        errors = io.StringIO()
        with contextlib.redirect_stderr(errors):
            status = blend_network.main([*first, self.path("trained"), self.path("old"), self.path("out"), *more])
        if not os.path.exists(self.path("out")):
            return status, errors.getvalue(), None
        with open(self.path("out"), "rb") as file:
            return status, errors.getvalue(), file.read()

    def test_half_way(self):
        trained, old = [10, -10, 3, -3, 32767, -32768, 0, 5], [20, -20, 2, -2, 32767, -32768, 1, 6]
        self.assertEqual(self.blend(network(trained), network(old)),
                         (0, "", network([15, -15, 2, -2, 32767, -32768, 0, 6])))

    def test_several_trained_networks(self):
        with open(self.path("second"), "wb") as file:
            file.write(network([20, -8, 32767]))
        trained, old = network([10, -4, 32767]), network([3, 30, 32767])
        self.assertEqual(self.blend(trained, old, "--share", "1", first=[self.path("second")])[2],
                         network([15, -6, 32767]))
        self.assertEqual(self.blend(trained, old, "--share", "0.75", first=[self.path("second")])[2],
                         network([12, 3, 32767]))

    def test_other_shares(self):
        trained, old = network([100, -7, 5]), network([200, 9, 6])
        self.assertEqual(self.blend(trained, old, "--share", "1")[2], trained)
        self.assertEqual(self.blend(trained, old, "--share", "0")[2], old)
        self.assertEqual(self.blend(trained, old, "--share", "0.25")[2], network([175, 5, 6]))

    def test_files_that_cannot_be_blended(self):
        whole = network([1, 2, 3])
        for trained, old, text in ((whole, network([1, 2, 3], hidden=4), "not of the same shape"),
                                   (whole, network([1, 2]), "not of the same shape"),
                                   (whole[:20], whole, "not a network file"),
                                   (whole, whole + b"x", "not a network file"),
                                   (network([1], weight_scale=100), whole, "weights of one byte")):
            status, errors, written = self.blend(trained, old)
            self.assertEqual((status, written), (1, None))
            self.assertIn(text, errors)
        status, errors, written = self.blend(whole, whole, "--share", "1.5")
        self.assertEqual((status, written), (1, None))
        self.assertIn("from 0 to 1", errors)
        self.assertEqual(blend_network.main([self.path("absent"), self.path("old"), self.path("out")]), 1)


if __name__ == "__main__":
    unittest.main()
