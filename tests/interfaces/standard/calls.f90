! Calls standard names alone, with the implicit interfaces of old programs. Prints what they give.
program calls
  implicit none
  external :: dgees, dgemm, dgesv, dgges, zgees, zgges, zheev
  logical, external :: is_negative, is_above, is_below, has_quotient_above
  complex(8), external :: zdotc, zladiv
  complex(4), external :: cdotu
  real(4), external :: sdot, scasum
  real(8), external :: dznrm2
  integer, external :: izamax, ilaenv
  logical, external :: lsame, disnan
  real(8) :: a(2, 2) = reshape([1d0, 3d0, 2d0, 4d0], [2, 2]), c(2, 2), w(2), rwork(4)
  complex(8) :: z(2) = [(1d0, 2d0), (3d0, 0d0)], h(2, 2), work(10)
  complex(8) :: denominators(2)
  complex(4) :: q(2) = [(1.0, 2.0), (3.0, 0.0)]
  real(8) :: s(3, 3) = reshape([3d0, 0d0, 0d0, 1d0, -1d0, 0d0, 1d0, 1d0, -2d0], [3, 3]), wr(3), wi(3), vs(3, 3)
  real(8) :: t(3, 3) = reshape([2d0, 0d0, 0d0, 0d0, 1d0, 0d0, 0d0, 0d0, 4d0], [3, 3]), beta(3), room(100)
  complex(8) :: d(2, 2) = reshape([(1d0, 0d0), (0d0, 0d0), (0d0, 0d0), (2d0, 0d0)], [2, 2])
  logical :: chosen(3)
  integer :: pivots(2), sdim, info

  call dgemm('N', 'T', 2, 2, 2, 1d0, a, 2, a, 2, 0d0, c, 2)
  print '("dgemm", 4(1x, i0))', nint(c)
  c = a
  w = [5d0, 11d0]
  call dgesv(2, 1, c, 2, pivots, w, 2, info)
  print '("dgesv ", i0, 2f6.2)', info, w
  h = reshape([(2d0, 0d0), (0d0, -1d0), (0d0, 1d0), (2d0, 0d0)], [2, 2])
  call zheev('No vectors', 'Upper', 2, h, 2, w, work, 10, rwork, info)
  print '("zheev ", i0, 2f6.2)', info, w
  print '("zdotc", 2f6.2)', zdotc(2, z, 1, conjg(z), 1)
  print '("zladiv", 2f6.2)', zladiv(z(1), (0d0, 1d0))
  print '("cdotu", 2f6.2)', cdotu(2, q, 1, q, 1)
  print '("sdot", 2f6.2, ", dznrm2", f6.2)', sdot(2, [1.0, 2.0], 1, [3.0, 4.0], 1), scasum(2, q, 1), dznrm2(2, z, 1)
  print '("izamax ", i0)', izamax(2, z, 1)
  print '("lsame ", 3l1, ", disnan ", 2l1)', lsame('u', 'Upper'), lsame('u', 'L'), .not. lsame('u', 'U'), &
    disnan(w(1)), .not. disnan(w(1))
  print '("ilaenv ", l1)', ilaenv(1, 'DGEQRF', ' ', 500, 500, -1, -1) > 1
  call dgees('Vectors', 'Sorted', is_negative, 3, s, 3, sdim, wr, wi, vs, 3, room, 100, chosen, info)
  print '("dgees ", i0, 1x, i0, f6.2)', info, sdim, wr(3)
  h = reshape([(0d0, -1d0), (0d0, 0d0), (1d0, 0d0), (0d0, 2d0)], [2, 2])
  call zgees('No vectors', 'Sorted', is_above, 2, h, 2, sdim, z, h, 2, work, 10, room, chosen, info)
  print '("zgees ", i0, 1x, i0, 2f6.2)', info, sdim, z(1)
  s = reshape([6d0, 0d0, 0d0, 1d0, -1d0, 0d0, 1d0, 1d0, -8d0], [3, 3])
  call dgges('No vectors', 'No vectors', 'Sorted', is_below, 3, s, 3, t, 3, sdim, wr, wi, beta, vs, 3, vs, 3, room, &
             100, chosen, info)
  print '("dgges ", i0, 1x, i0, f6.2)', info, sdim, wr(3) / beta(3)
  h = reshape([(0d0, -1d0), (0d0, 0d0), (1d0, 0d0), (0d0, 4d0)], [2, 2])
  call zgges('No vectors', 'No vectors', 'Sorted', has_quotient_above, 2, h, 2, d, 2, sdim, z, denominators, h, 2, &
             h, 2, work, 10, room, chosen, info)
  print '("zgges ", i0, 1x, i0, 2f6.2)', info, sdim, z(1) / denominators(1)
end program calls

logical function is_negative(wr, wi)
  real(8), intent(in) :: wr, wi
  is_negative = wr < 0 .and. wi == 0
end function is_negative

logical function is_below(alphar, alphai, beta)
  real(8), intent(in) :: alphar, alphai, beta
  is_below = alphar < 0 .and. alphai == 0 .and. beta > 0
end function is_below

logical function has_quotient_above(alpha, beta)
  complex(8), intent(in) :: alpha, beta
  has_quotient_above = aimag(alpha / beta) > 0
end function has_quotient_above

logical function is_above(w)
  complex(8), intent(in) :: w
  is_above = aimag(w) > 0
end function is_above
